// With the ingest service, on a machine that has one.
#include <signal.h>

#include "tests/chaos/Chaos.h"
#include "tests/support/Eventually.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;

// It waits up to 30 s when it was killed often, and comes up within 10 s; a format that is refused
// takes 10 s before it, and the default one 10 s after.
constexpr auto longestComingUp = 75s;

// A process that is dead is noticed at once, and told; this is for a machine that is busy.
constexpr auto longestToNotice = 3s;

// Orders are looked for twice a second; what captures has 5 s to stop.
constexpr auto longestTakingUp = 10s;

}  // namespace

// What runs must be what the book permits, and one process alone.
std::optional<Capture::Running> Chaos::awaitCapture(const std::string& after) {
    std::optional<Capture::Running> running;
    const auto isUp = [&] {
        running = machine.capture().running();
        const auto processes = Capture::processes();
        return running && processes.size() == 1 && processes.front() == running->process;
    };
    if (!test::eventually(isUp, longestComingUp)) {
        complain("nothing is captured " + after);
        return std::nullopt;
    }
    if (const auto problem = captureBook.sawRunning(running->format); !problem.empty()) {
        complain(problem + " " + after);
    }
    return running;
}

void Chaos::killIngest() {
    const auto before = awaitCapture("before the ingest service is killed");
    if (!before) {
        return;
    }
    ::kill(before->process, SIGKILL);
    const auto isNoticed = [&] {
        const auto now = machine.capture().running();
        return !now || now->process != before->process;
    };
    if (!test::eventually(isNoticed, longestToNotice)) {
        complain("the ingest service was killed and is shown to be well");
    }
    awaitCapture("after the ingest service was killed");
}

void Chaos::orderCaptureFormat() {
    const auto format = Capture::good(below(Capture::goodFormats));
    if (!machine.capture().order(format)) {
        return complain("an order of a capture format was not taken");
    }
    const auto isInForce = [&] {
        const auto running = machine.capture().running();
        return running && running->format == Capture::nameOf(format);
    };
    captureBook.ordered(Capture::nameOf(format));
    if (!test::eventually(isInForce, longestComingUp)) {
        return complain("ordered and not in force: " + Capture::nameOf(format));
    }
    awaitCapture("after it was ordered");
}

// The last one that ran comes back.
void Chaos::orderRefusedCaptureFormat() {
    if (!awaitCapture("before a format is refused")) {
        return;
    }
    if (!machine.capture().order(Capture::refused())) {
        return complain("an order of a capture format was not taken");
    }
    if (!test::eventually([&] { return !machine.capture().running(); }, longestTakingUp)) {
        return complain("an order of a capture format was taken and not followed");
    }
    awaitCapture("after a format that was refused");
}

void Chaos::orderCaptureFormatAndKillService() {
    const auto format = Capture::good(below(Capture::goodFormats));
    if (machine.capture().order(format)) {
        captureBook.ordered(Capture::nameOf(format));
    }
    below(2) == 0 ? pause() : void();
    killService();
}

void Chaos::endCapture() {
    for (const auto process : Capture::processes()) {
        ::kill(process, SIGTERM);
    }
    if (!test::eventually([] { return Capture::processes().empty(); }, 20s)) {
        complain("the ingest service does not end");
    }
}

}  // namespace tarn::chaos
