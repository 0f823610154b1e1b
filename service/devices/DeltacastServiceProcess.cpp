#include "service/devices/DeltacastServiceProcess.h"

#include <unistd.h>

#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "service/devices/ProcessControl.h"

namespace tarn::service::devices {

namespace {

constexpr int probes = 5;
constexpr std::chrono::seconds betweenProbes{1};

}  // namespace

DeltacastServiceProcess::DeltacastServiceProcess(const utils::IMessageFormatter& formatter,
                                                 ProcessControl& processes)
    : formatter(formatter), processes(processes) {}

void DeltacastServiceProcess::learn(pid_t id, const socket::SocketEndpoint& endpoint) {
    if (isKnown(id)) {
        return;
    }
    process = processes.identify(id);
    known = Known::Own;
    if (id == ::getpid() || processes.holds(id, endpoint) == ProcessControl::Holding::HoldsNot) {
        known = Known::Strange;
        utils::logWarning(formatter.formatMessage(
            "KLN-SDI-Ingest-Service says that its pid is " + std::to_string(id) +
            ", but another process answers: that one will not be killed"));
    }
}

// The same id may be that of the next process.
bool DeltacastServiceProcess::isKnown(pid_t id) const {
    return known != Known::Nothing && process.id == id &&
           processes.stateOf(process) == ProcessControl::State::Running;
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
        return;
    }
    if (!endsByItself(stop)) {
        killHard(stop);
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
