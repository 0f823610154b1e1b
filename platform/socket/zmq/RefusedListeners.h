#pragma once

#include <chrono>
#include <map>
#include <string>

namespace tarn::socket {

/// Which refused listeners are worth a line: the messaging library tries again a hundred times a
/// second for as long as somebody else's socket is in the place of the right one. One thread at a
/// time.
class RefusedListeners {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::minutes betweenLines{1};

    /// True for one that is new, and then once a minute.
    bool isWorthALine(const std::string& path, const std::string& why, TimePoint now);

  private:
    static constexpr std::size_t most = 64;

    std::map<std::string, TimePoint> nextLine;  // by path and reason
};

/// Says it in the log when it is worth a line. Any thread; does not throw.
void logRefusedListener(const std::string& path, const std::string& why);

}  // namespace tarn::socket
