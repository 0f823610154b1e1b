#include "service/devices/capture/DeltacastServiceProcess.h"

#include <unistd.h>

#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "service/devices/capture/ProcessControl.h"

namespace tarn::service::devices {

namespace {

constexpr int probes = 5;
constexpr std::chrono::seconds betweenProbes{1};
constexpr int looksAtTheEndpoint = 50;
constexpr std::chrono::milliseconds betweenLooks{100};

}  // namespace

DeltacastServiceProcess::DeltacastServiceProcess(const utils::IMessageFormatter& formatter,
                                                 ProcessControl& processes, Pause pause)
    : formatter(formatter), processes(processes), pause(std::move(pause)) {}

void DeltacastServiceProcess::learn(pid_t id, const socket::SocketEndpoint& answering) {
    if (isKnown(id)) {
        return;
    }
    endpoint = answering;
    known = find(id);
    warnOfAStranger();
}

// The same id may be that of the next process, and that of none here.
bool DeltacastServiceProcess::isKnown(pid_t id) const {
    if (known == Known::Nothing || process.id != id) {
        return false;
    }
    return known == Known::Own ? processes.stateOf(process) == ProcessControl::State::Running
                               : processes.identify(id) == process;
}

// Identified first, so that what is found out is about that process: the id may change hands.
DeltacastServiceProcess::Known DeltacastServiceProcess::find(pid_t id) {
    process = processes.identify(id);
    if (id == ::getpid()) {
        return Known::Strange;
    }
    switch (processes.holds(id, endpoint)) {
        case ProcessControl::Holding::HoldsNot:
            return Known::Strange;
        case ProcessControl::Holding::Unknown:
            return Known::Unproven;
        case ProcessControl::Holding::Holds:
            break;
    }
    const bool isTheSame = process.startTime != 0 && processes.identify(id) == process;
    return isTheSame ? Known::Own : Known::Unproven;
}

void DeltacastServiceProcess::warnOfAStranger() const {
    if (known == Known::Own) {
        return;
    }
    utils::logWarning(formatter.formatMessage(
        "KLN-SDI-Ingest-Service says that its pid is " + std::to_string(process.id) +
        (known == Known::Strange
             ? ", but another process answers: that one will not be killed"
             : ", but it cannot be shown that this process answers: it will not be killed")));
}

void DeltacastServiceProcess::lookAgain() {
    if (known == Known::Unproven) {
        known = find(process.id);
    }
}

std::optional<os::ProcessIdentity> DeltacastServiceProcess::own() const {
    return known == Known::Own && process.startTime != 0 ? std::optional(process) : std::nullopt;
}

// One that nobody could identify may be anywhere.
bool DeltacastServiceProcess::hasEnded() const {
    if (known != Known::Own || process.startTime == 0 || isRunning()) {
        return false;
    }
    log("KLN-SDI-Ingest-Service with pid " + std::to_string(process.id) + " has ended");
    return true;
}

void DeltacastServiceProcess::end(pid_t id, const std::stop_token& stop) {
    if (known != Known::Own || process.id != id) {
        log("Process " + std::to_string(id) +
            " is not known to be KLN-SDI-Ingest-Service: it is left alone");
        return process.id == id ? awaitSilence(stop) : void();
    }
    if (!endsByItself(stop)) {
        killHard(stop);
    }
}

void DeltacastServiceProcess::awaitSilence(const std::stop_token& stop) {
    for (int look = 0; look < looksAtTheEndpoint && !stop.stop_requested(); ++look) {
        if (!processes.isListenedTo(endpoint)) {
            return log("KLN-SDI-Ingest-Service not running any more.");
        }
        pause(betweenLooks, stop);
    }
    if (!stop.stop_requested()) {
        utils::logWarning(formatter.formatMessage(
            "KLN-SDI-Ingest-Service still listens on " + endpoint.toString(socket::Protocol::None) +
            " and is not killed: which process it is cannot be shown"));
    }
}

bool DeltacastServiceProcess::endsByItself(const std::stop_token& stop) {
    for (int probe = 0; probe < probes; ++probe) {
        if (!isRunning()) {
            log("KLN-SDI-Ingest-Service not running any more.");
            return true;
        }
        waitASecond(stop);
        if (stop.stop_requested()) {
            return true;
        }
    }
    return false;
}

void DeltacastServiceProcess::killHard(const std::stop_token& stop) {
    utils::logWarning(formatter.formatMessage("Hard kill on KLN-SDI-Ingest-Service with pid " +
                                              std::to_string(process.id)));
    while (!stop.stop_requested()) {
        if (!isRunning() || !processes.kill(process)) {
            log("KLN-SDI-Ingest-Service not running any more after hard kill.");
            return;
        }
        waitASecond(stop);
    }
}

void DeltacastServiceProcess::waitASecond(const std::stop_token& stop) {
    log("KLN-SDI-Ingest-Service still running on pid " + std::to_string(process.id));
    processes.awaitEnd(process, betweenProbes, stop);
}

bool DeltacastServiceProcess::isRunning() const {
    const auto id = std::to_string(process.id);
    switch (processes.stateOf(process)) {
        case ProcessControl::State::Running:
            return true;
        case ProcessControl::State::Gone:
            break;
        case ProcessControl::State::Unreaped:
            log("Process " + id + " has ended; nobody has reaped it yet");
            break;
        case ProcessControl::State::Another:
            log("Pid " + id + " belongs to another process now, which is left alone");
            break;
    }
    return false;
}

void DeltacastServiceProcess::log(const std::string& text) const {
    utils::logInfo(formatter.formatMessage(text));
}

}  // namespace tarn::service::devices
