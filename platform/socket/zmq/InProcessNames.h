#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tarn::socket {

/// Which in-process names are bound in a context, and how often they have been before.
///
/// Over IPC and TCP a connection is made again when the other end comes back; in-process it is not,
/// and nothing tells. Whoever connected asks here. Thread-safe.
class InProcessNames {
  public:
    /// One time that a name was bound, past, present or next.
    using Binding = std::uint64_t;

    /// Run the given action and take note of it, as one step; nothing is noted when it throws.
    void bind(const std::string& name, const std::function<void()>& action);
    void unbind(const std::string& name, const std::function<void()>& action);

    /// Runs `action`, which connects to `name`, and tells which binding it is connected to: the
    /// present one, or the next if the name is not bound.
    Binding connect(const std::string& name, const std::function<void()>& action);

    /// Whether that binding is over.
    bool isOver(const std::string& name, Binding binding);

  private:
    // Counts up at every bind and unbind: odd while bound.
    std::mutex mutex;
    std::map<std::string, Binding> changes;
};

}  // namespace tarn::socket
