#include "peers/job_runtime/registration/Admission.h"

#include "platform/utils/Log.h"

namespace tarn::peers {

Admission::Admission(Registration* registration, Clock::time_point began)
    : registration(registration),
      enterBy(began + timeToCheck),
      current(registration == nullptr ? State::Admitted : State::Checking) {}

Admission::State Admission::step(Clock::time_point now) {
    if (current == State::Checking && (isChecked || now >= enterBy)) {
        registration->enter();
        current = State::Entering;
    }
    if (current == State::Entering) {
        follow(registration->take(), now);
    }
    return current;
}

void Admission::follow(Registration::Standing standing, Clock::time_point now) {
    switch (standing) {
        case Registration::Standing::Outside:
        case Registration::Standing::Claiming:
            return;
        case Registration::Standing::Listed:
        case Registration::Standing::Away:
            current = State::Admitted;
            return;
        case Registration::Standing::Refused:
            current = State::Refused;
            return;
        case Registration::Standing::Entering:
            break;
    }
    registeredBy = registeredBy.value_or(now + timeToRegister);
    if (now >= *registeredBy) {
        utils::logWarning("The resource manager does not answer: this job is not registered yet");
        current = State::Admitted;
    }
}

std::optional<Admission::Clock::time_point> Admission::deadline() const {
    switch (current) {
        case State::Checking:
            return enterBy;
        case State::Entering:
            return registeredBy;
        case State::Admitted:
        case State::Refused:
            break;
    }
    return std::nullopt;
}

int Admission::descriptor() const {
    return current == State::Entering ? registration->descriptor() : -1;
}

}  // namespace tarn::peers
