#include "tests/chaos/actions/ComingUp.h"

#include <fstream>
#include <utility>

#include "proto/job_monitoring.pb.h"
#include "tests/chaos/observation/Observation.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/JobCommands.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using proto::job_monitoring::JobState_Name;

constexpr auto comesUpWithin = 20s;
// What a service gives a launcher until it listens, and how little of it is none at all: on a
// machine that does nothing else it takes a twentieth.
constexpr auto launcherListensWithin = 2000ms;
constexpr auto leastToListen = 500ms;

constexpr std::size_t mostLines = 12;
constexpr std::size_t mostOfALine = 600;

bool plays(const test::JobAddress& job) {
    const auto status = test::JobCommands(job.commandEndpoint).status();
    return status && status->job_description().job_id() == job.id &&
           status->state() == proto::job_monitoring::JOB_STATE_PLAYING;
}

std::string paragraph(const std::string& title, const std::vector<std::string>& lines) {
    std::string text = "\n  " + title + (lines.empty() ? ": nothing" : ":");
    for (const auto& line : lines) {
        text += "\n    " + line.substr(0, mostOfALine);
    }
    return text;
}

}  // namespace

ComingUp::ComingUp(Machine& machine, Order order)
    : machine(machine),
      order(std::move(order)),
      launch(machine.service().log(), machine.service().logLength(), this->order) {}

bool ComingUp::await(const test::JobAddress& job) {
    address = job;
    bool isUp = false;
    test::eventually(
        [&] {
            isUp = plays(job);
            return isUp || isGivenUp();
        },
        comesUpWithin);
    return isUp;
}

bool ComingUp::isGivenUp() {
    if (!launch.launcherWasLate()) {
        return false;
    }
    lateOnBusyMachine = machineGaveOf(launcherListensWithin) < leastToListen;
    return true;
}

// As it did on the average since the submission.
std::chrono::milliseconds ComingUp::machineGaveOf(std::chrono::milliseconds promised) const {
    const std::chrono::duration<double> passed = Clock::now() - began;
    return std::chrono::duration_cast<std::chrono::milliseconds>(promised *
                                                                 (time.elapsed() / passed));
}

std::string ComingUp::account() const {
    return "job " + order.id + ", label " + order.label + "\n  address: " +
           (address ? address->commandEndpoint + " and " + address->eventEndpoint : "none") +
           "\n  listed: " + listing() + "\n  state: " + state() + "\n  launcher: " + launcher() +
           "\n  of a second the machine gave " + std::to_string(machineGaveOf(1s).count()) + " ms" +
           paragraph("its log", ownLog()) +
           paragraph("the service's log about it", launch.lastLines(mostLines));
}

std::string ComingUp::listing() const {
    const auto found = test::Api(machine.places().requests).job(order.id);
    if (!found) {
        return "the service does not answer";
    }
    return found->has_running_job() ? "at " + found->running_job().command_endpoint() : "no";
}

std::string ComingUp::state() const {
    const auto status =
        address ? test::JobCommands(address->commandEndpoint).status() : std::nullopt;
    if (!status) {
        return "it does not answer";
    }
    const auto& id = status->job_description().job_id();
    return JobState_Name(status->state()) + (id == order.id ? "" : ", but of job " + id);
}

std::string ComingUp::launcher() const {
    std::string text;
    for (const auto& launcher : launchers()) {
        if (launcher.label == order.label) {
            text += (text.empty() ? "process " : " and ") + std::to_string(launcher.id);
        }
    }
    return text.empty() ? "none lives" : text;
}

ComingUp::Lines ComingUp::ownLog() const {
    std::ifstream file(Machine::jobLog(order.label));
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
        if (lines.size() > mostLines) {
            lines.erase(lines.begin());
        }
    }
    return lines;
}

}  // namespace tarn::chaos
