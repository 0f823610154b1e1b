#include "peers/job_runtime/pipeline/PipelineProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "peers/job_runtime/pipeline/PipelineEnvironment.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

namespace {

using namespace std::chrono_literals;
using tarn::proto::pipeline_control::PipelineCommand;

static_assert(MessageChannel::pipelineDescriptor == os::Subprocess::channelNumber);

std::pair<os::FileDescriptor, os::FileDescriptor> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    return {os::FileDescriptor(ends[0]), os::FileDescriptor(ends[1])};
}

void logOutput(const std::string& line) {
    utils::logInfo("Pipeline > " + utils::printable(line, OutputLines::maxLineBytes));
}

PipelineCommand makeCommand(PipelineCommand::Type type) {
    PipelineCommand command;
    command.set_type(type);
    return command;
}

}  // namespace

PipelineProcess::PipelineProcess() : lines(logOutput) {
    auto [ourEnd, theirEnd] = MessageChannel::makePair();
    auto [readEnd, writeEnd] = makePipe();
    channel = std::make_unique<MessageChannel>(std::move(ourEnd), MessageChannel::maxReportBytes);
    output = std::move(readEnd);
    ::fcntl(output.get(), F_SETFL, O_NONBLOCK);
    process.emplace(os::Subprocess::Start{
        .arguments = {os::besideThisProgram("tarnPipelineProcess"), std::to_string(::getpid())},
        .output = writeEnd.get(),
        .channel = theirEnd.get(),
        .environment = pipelineEnvironment()});
}

PipelineProcess::~PipelineProcess() {
    process.reset();  // killed, its last output can still be read
    read();
    lines.finish();
}

void PipelineProcess::parse(const std::string& pipeline,
                            const std::map<std::string, std::string>& environment,
                            const tarn::service::proto::JobCell& cell) {
    auto command = makeCommand(PipelineCommand::PARSE);
    command.set_pipeline(pipeline);
    for (const auto& [name, value] : environment) {
        auto* const variable = command.add_environment();
        variable->set_name(name);
        variable->set_value(value);
    }
    *command.mutable_cell() = cell;
    channel->send(command);
}

void PipelineProcess::prepare() {
    channel->send(makeCommand(PipelineCommand::PREPARE));
}

void PipelineProcess::play() {
    channel->send(makeCommand(PipelineCommand::PLAY));
}

void PipelineProcess::finish() {
    channel->send(makeCommand(PipelineCommand::FINISH));
}

void PipelineProcess::signalGroup(int signal) const {
    process->signal(signal);
}

std::array<int, 3> PipelineProcess::descriptors() const {
    return {channelOpen ? channel->descriptor() : -1, output.get(), process->descriptor()};
}

void PipelineProcess::read() {
    channelOpen = channelOpen && channel->read() == MessageChannel::Input::Open;
    readOutput();
}

void PipelineProcess::readOutput() {
    std::array<char, 65536> buffer;
    const ssize_t count = output.isOpen() ? ::read(output.get(), buffer.data(), buffer.size()) : -1;
    if (count > 0) {
        lines.add(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
    } else if (count == 0) {
        lines.finish();
        output.close();
    }
}

bool PipelineProcess::nextReport(tarn::proto::pipeline_control::PipelineReport& report) {
    return channel->next(report);
}

std::optional<ProcessEnd> PipelineProcess::end() {
    const auto status = process->waitForEnd(0ms);
    if (!status) {
        return std::nullopt;
    }
    read();
    lines.finish();
    return WIFEXITED(*status) ? ProcessEnd{.exitStatus = WEXITSTATUS(*status), .signal = {}}
                              : ProcessEnd{.exitStatus = {}, .signal = WTERMSIG(*status)};
}

}  // namespace tarn::peers
