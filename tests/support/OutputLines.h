#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::test {

/// What a program has written so far, line by line. Thread-safe.
class OutputLines {
  public:
    using Bound = std::chrono::milliseconds;
    static constexpr Bound patience = std::chrono::seconds(20);

    /// Lines end with a newline; a last line without one counts after close().
    void append(std::string_view bytes);
    void close();

    std::vector<std::string> all() const;
    std::string text() const;  ///< to the byte
    bool contains(const std::string& part) const;
    std::size_t count(const std::string& part) const;

    /// The position of the first line from `from` on that holds `part`.
    std::optional<std::size_t> find(const std::string& part, std::size_t from = 0) const;

    /// Waits for a line that holds `part`, counting from line `from`; the line, or nothing when the
    /// bound passed or the program closed its output without one.
    std::optional<std::string> waitFor(const std::string& part, std::size_t from = 0,
                                       Bound bound = patience) const;

    /// The same for any bytes, whole lines or not.
    bool waitForText(const std::string& part, Bound bound = patience) const;

    /// Waits until there are `count` lines; false when the bound passed or the output was closed.
    bool waitForCount(std::size_t count, Bound bound = patience) const;

  private:
    std::string_view line(std::size_t number) const;
    std::optional<std::size_t> findLocked(const std::string& part, std::size_t from) const;
    template <typename Condition>
    bool waitUntil(Bound bound, Condition condition) const;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::string written;
    std::vector<std::size_t> ends;  ///< of the lines, without their newlines
    bool closed = false;
};

}  // namespace tarn::test
