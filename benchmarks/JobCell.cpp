#include <poll.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/ProcessFigures.h"
#include "benchmarks/support/Samples.h"
#include "peers/pipeline_channel/MessageChannel.h"
#include "platform/os/Subprocess.h"
#include "proto/pipeline_control.pb.h"
#include "tests/support/Process.h"

namespace tarn::benchmarks {

namespace {

using peers::MessageChannel;
using proto::pipeline_control::PipelineCommand;
using proto::pipeline_control::PipelineReport;

constexpr int rounds = 60;

PipelineReport::Type answerOf(MessageChannel& channel) {
    PipelineReport report;
    while (!channel.next(report)) {
        pollfd input{.fd = channel.descriptor(), .events = POLLIN, .revents = 0};
        if (::poll(&input, 1, 60'000) != 1 || channel.read() == MessageChannel::Input::Closed) {
            throw std::runtime_error("the pipeline process does not answer");
        }
    }
    return report.type();
}

/// What one way of starting takes, and what of it the process itself computes: that says something
/// on a busy machine, too.
struct Starts {
    Samples taken;
    Samples computed;
};

// From the start of the process until its pipeline is parsed: what a cell can delay.
void start(const PipelineCommand& command, Starts& starts) {
    auto [ours, theirs] = MessageChannel::makePair();
    MessageChannel channel(std::move(ours), MessageChannel::maxReportBytes);
    const auto begin = std::chrono::steady_clock::now();
    const os::Subprocess process(
        {.arguments = {test::builtProgram("tarnPipelineProcess"), std::to_string(::getpid())},
         .channel = theirs.get()});
    channel.send(command);
    if (answerOf(channel) != PipelineReport::PARSED) {
        throw std::runtime_error("the pipeline is not parsed");
    }
    starts.taken.add(std::chrono::steady_clock::now() - begin);
    const std::chrono::duration<double> computed(ProcessFigures(process.id()).processorSeconds());
    starts.computed.add(std::chrono::duration_cast<std::chrono::nanoseconds>(computed));
}

void tell(const std::string& cell, const Starts& with, const Starts& without) {
    const std::string what = "pipeline process until parsed";
    report(what + ", " + cell, with.taken, what + ", without a cell", without.taken);
    report("processor time of a " + what + ", " + cell, with.computed, what + ", without a cell",
           without.computed);
}

}  // namespace

void measureJobCell() {
    PipelineCommand without;
    without.set_type(PipelineCommand::PARSE);
    without.set_pipeline("videotestsrc is-live=true ! fakesink");
    auto open = without;
    open.mutable_cell();
    auto named = open;
    named.mutable_cell()->set_folders_are_named(true);
    named.mutable_cell()->add_write_folders("/tmp");
    Starts withoutCell;
    Starts openCell;
    Starts namedCell;
    Starts warmUp;
    start(without, warmUp);
    for (int i = 0; i < rounds; ++i) {
        start(without, withoutCell);
        start(open, openCell);
        start(named, namedCell);
    }
    tell("cell without named folders", openCell, withoutCell);
    tell("cell with named folders", namedCell, withoutCell);
}

}  // namespace tarn::benchmarks
