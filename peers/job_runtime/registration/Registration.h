#pragma once

#include <string>

namespace tarn::peers {

/// How a job stands with the registry of running jobs.
class Registration {
  public:
    enum class Standing {
        Outside,   ///< nothing was done yet
        Claiming,  ///< another process may still be the job of this id
        Entering,  ///< the resource manager was asked
        Listed,
        Away,     ///< the resource manager cannot be reached; it is asked again and again
        Refused,  ///< another process is that job, or the service is stopping
    };

    virtual ~Registration() = default;

    /// Begins; at once.
    virtual void enter() = 0;

    /// As it is now.
    virtual Standing take() = 0;

    /// Why Away or Refused.
    virtual std::string reason() = 0;

    /// For poll: readable when the standing has changed since `take`.
    virtual int descriptor() const = 0;
};

}  // namespace tarn::peers
