#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "peers/job_runtime/registration/Registration.h"

namespace tarn::peers {

/// When a job may touch what its pipeline names. A second job of the same id must leave the files
/// of the first alone, so nothing is opened before the registry has taken the job in. Registered is
/// what was checked, or what is not checked soon: whoever submitted it is told before long that it
/// was accepted, and must be able to stop it then. Time is passed in.
///
///   Checking --checked, or late--> Entering --listed, or the registry away--> Admitted
///                                     \--refused--> Refused
class Admission {
  public:
    using Clock = std::chrono::steady_clock;

    enum class State { Checking, Entering, Admitted, Refused };

    /// How long the check of the pipeline holds up the registration.
    static constexpr std::chrono::milliseconds timeToCheck{150};

    /// How long a resource manager that says nothing holds up the playing.
    static constexpr std::chrono::milliseconds timeToRegister{1000};

    /// `registration` is null for a job that nobody lists, which is admitted as it is.
    Admission(Registration* registration, Clock::time_point began);

    /// The pipeline was found good.
    void checked() { isChecked = true; }

    State step(Clock::time_point now);
    State state() const { return current; }

    /// Why Refused.
    std::string reason() const { return "Job is not registered: " + registration->reason(); }

    /// When to step again at the latest; nothing once it is decided.
    std::optional<Clock::time_point> deadline() const;

    /// For poll: readable when to step again; -1 once it is decided.
    int descriptor() const;

  private:
    void follow(Registration::Standing standing, Clock::time_point now);

    Registration* const registration;
    const Clock::time_point enterBy;
    State current = State::Checking;
    bool isChecked = false;
    std::optional<Clock::time_point> registeredBy;  // once the resource manager was asked
};

}  // namespace tarn::peers
