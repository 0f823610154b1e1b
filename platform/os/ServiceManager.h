#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::os {

/// The service manager that started this process, where one did and asks to be told of it: that its
/// endpoints can be reached, that it lives, that it stops. Without one, nothing is told and nothing
/// fails. That it lives one thread tells, the rest any.
class ServiceManager {
  public:
    using Clock = std::chrono::steady_clock;

    /// Nobody.
    ServiceManager() = default;

    /// Whom the environment names.
    static ServiceManager fromEnvironment();

    /// The same, and the environment names nobody any more: what this process starts is none of the
    /// manager's business. Before there are threads.
    static ServiceManager takenFromEnvironment();

    /// These return false, with the reason in errno, where there is a manager that cannot be told.
    bool ready() const;
    bool stopping() const;

    /// Tells that the process lives, where that is watched and was not told for a quarter of the
    /// time after which the manager believes otherwise.
    bool alive(Clock::time_point now);

  private:
    bool tell(std::string_view state) const;

    std::string address;                                // empty: nobody
    std::optional<std::chrono::microseconds> patience;  // nothing: not watched
    Clock::time_point toldLast = Clock::time_point::min();
};

}  // namespace tarn::os
