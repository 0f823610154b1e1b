#include "peers/job_runtime/supervision/JobLifecycle.h"

#include <algorithm>

namespace tarn::peers {

namespace {

using State = JobLifecycle::State;

JobLifecycle::Due dueFor(StopEscalation::Step step) {
    switch (step) {
        case StopEscalation::Step::Terminate:
            return JobLifecycle::Due::Terminate;
        case StopEscalation::Step::Kill:
            return JobLifecycle::Due::Kill;
        case StopEscalation::Step::GiveUp:
            break;
    }
    return JobLifecycle::Due::GiveUp;
}

}  // namespace

JobLifecycle::State JobLifecycle::After(State state, Event event) {
    const auto from = [state](State before, State after) {
        return state == before ? after : state;
    };
    switch (event) {
        case Event::Parsed:
            return from(State::Checking, State::Checked);
        case Event::Admitted:
            return from(State::Checked, State::Preparing);
        case Event::Prepared:
            return from(State::Preparing, State::Ready);
        case Event::RunLost:
            return state == State::Over ? State::Over : State::Waiting;
        case Event::RunBegun:
            return from(State::Waiting, State::Checking);
        case Event::Ended:
            break;
    }
    return State::Over;
}

bool JobLifecycle::take(Event event) {
    const auto before = current;
    current = After(current, event);
    isSetUp = isSetUp || current == State::Ready || current == State::Waiting;
    return current != before;
}

void JobLifecycle::beginRun(Clock::time_point now) {
    take(Event::RunBegun);
    readyBy = now + timeToGetReady;
    facts = {};
    escalation = {};
}

void JobLifecycle::close(RunFacts::Ending how, Clock::time_point now) {
    facts.note(how);
    escalation.begin(now);
}

void JobLifecycle::fail(const std::string& message, Clock::time_point now) {
    isUnusable = isUnusable || (!isSetUp && current == State::Checking);
    blame(message);
    close(RunFacts::Ending::Failure, now);
}

bool JobLifecycle::blame(const std::string& message) {
    const bool isFirst = facts.failure.empty();
    facts.failure = isFirst ? message : facts.failure;
    return isFirst;
}

std::optional<std::chrono::milliseconds> JobLifecycle::endRun(const RunResult& result,
                                                              bool mayPlayAgain,
                                                              Clock::time_point now) {
    if (!result.failed() || !mayPlayAgain || isUnusable) {
        take(Event::Ended);
        return std::nullopt;
    }
    take(Event::RunLost);
    const auto delay = policy.failed(now);
    nextRunAt = now + delay;
    return delay;
}

// A run that is not ready is given up before it is escalated: it has nothing to finish.
JobLifecycle::Due JobLifecycle::takeDue(Clock::time_point now) {
    if (current == State::Waiting) {
        return now >= nextRunAt ? Due::NextRun : Due::Nothing;
    }
    if (isGettingReady() && now >= readyBy) {
        return Due::NotReady;
    }
    const auto step = isRunning() ? escalation.take(now) : std::nullopt;
    return step ? dueFor(*step) : Due::Nothing;
}

std::optional<JobLifecycle::Clock::time_point> JobLifecycle::deadline() const {
    if (current == State::Waiting) {
        return nextRunAt;
    }
    const auto ending = isRunning() ? escalation.deadline() : std::nullopt;
    return isGettingReady() ? std::min(readyBy, ending.value_or(readyBy)) : ending;
}

}  // namespace tarn::peers
