#include <poll.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/Samples.h"
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
        if (::poll(&input, 1, 10'000) != 1 || channel.read() == MessageChannel::Input::Closed) {
            throw std::runtime_error("the pipeline process does not answer");
        }
    }
    return report.type();
}

// From the start of the process until its pipeline is parsed: what a cell can delay.
void start(const PipelineCommand& command, Samples& samples) {
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
    samples.add(std::chrono::steady_clock::now() - begin);
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
    Samples withoutCell;
    Samples openCell;
    Samples namedCell;
    Samples warmUp;
    start(without, warmUp);
    for (int i = 0; i < rounds; ++i) {
        start(without, withoutCell);
        start(open, openCell);
        start(named, namedCell);
    }
    const char* const baseline = "pipeline process until parsed, without a cell";
    report("pipeline process until parsed, cell without named folders", openCell, baseline,
           withoutCell);
    report("pipeline process until parsed, cell with named folders", namedCell, baseline,
           withoutCell);
}

}  // namespace tarn::benchmarks
