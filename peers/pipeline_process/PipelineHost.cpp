#include "peers/pipeline_process/PipelineHost.h"

#include <glib-unix.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <vector>

#include "peers/pipeline_process/ElementRules.h"
#include "peers/pipeline_process/PipelineParser.h"
#include "peers/pipeline_process/UnaskedEnd.h"
#include "proto/pipeline_control.pb.h"

namespace tarn::peers {

// What the main loop calls. No exception can pass through it: they all mean that the launcher is
// gone or not understood, and then nothing here can go on.
struct PipelineHost::Callbacks {
    template <typename Step>
    static gboolean guarded(Step step) noexcept {
        try {
            step();
        } catch (const std::exception& e) {
            std::cerr << "error: " << e.what() << std::endl;
            ::_exit(1);
        }
        return G_SOURCE_CONTINUE;
    }
    static gboolean channelReady(gint, GIOCondition, gpointer host) {
        return guarded([&] { static_cast<PipelineHost*>(host)->takeCommands(); });
    }
    static gboolean busMessage(GstBus*, GstMessage* message, gpointer host) {
        return guarded([&] { static_cast<PipelineHost*>(host)->handle(*message); });
    }
    static gboolean progressDue(gpointer host) {
        return guarded([&] { static_cast<PipelineHost*>(host)->reportProgress(); });
    }
};

PipelineHost::PipelineHost(os::FileDescriptor end, EnterCell enter)
    : channel(std::move(end), MessageChannel::maxCommandBytes),
      enter(std::move(enter)),
      loop(g_main_loop_new(nullptr, FALSE)) {
    channelWatch = g_unix_fd_add(channel.descriptor(), GIOCondition(G_IO_IN | G_IO_HUP | G_IO_ERR),
                                 Callbacks::channelReady, this);
}

PipelineHost::~PipelineHost() {
    if (pipeline) {
        gst_bus_remove_watch(bus.get());
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    }
    g_source_remove(channelWatch);
    if (progressTimer != 0) {
        g_source_remove(progressTimer);
    }
    g_main_loop_unref(loop);
}

int PipelineHost::run() {
    g_main_loop_run(loop);
    return exitStatus.value_or(1);
}

void PipelineHost::takeCommands() {
    const auto input = channel.read();
    for (Command command; channel.next(command); command.Clear()) {
        handle(command);
    }
    if (input == MessageChannel::Input::Closed) {
        ::kill(0, SIGKILL);  // nobody is left to end what this process may have started
    }
}

void PipelineHost::handle(const Command& command) {
    if (exitStatus) {
        return;
    }
    switch (command.type()) {
        case Command::PARSE:
            return parse(command);
        case Command::PREPARE:
            return prepare();
        case Command::PLAY:
            return play();
        case Command::FINISH:
            return finish();
        case Command::UNKNOWN:
            return;
    }
}

void PipelineHost::parse(const Command& command) {
    for (const auto& variable : command.environment()) {
        ::setenv(variable.name().c_str(), variable.value().c_str(), /*replace=*/1);
    }
    Report report;
    report.set_type(Report::PARSED);
    auto error = enterCellOf(command, report, enter);
    if (error.empty()) {
        error = build(command);
    }
    if (!error.empty()) {
        return endWithFailure({error, {}});
    }
    bus.reset(gst_element_get_bus(pipeline.get()));
    gst_bus_add_watch(bus.get(), Callbacks::busMessage, this);
    channel.send(report);
}

// Empty, or why there is none.
std::string PipelineHost::build(const Command& command) {
    const auto& cell = command.cell();
    const std::vector<std::string> refused(cell.refused_elements().begin(),
                                           cell.refused_elements().end());
    refuseElements(refused);
    std::string error;
    auto parsed = parsePipeline(command.pipeline(), error);
    if (!parsed) {
        return error + explainRefusal(error, refused);
    }
    const auto outside =
        cell.folders_are_named()
            ? writesOutside(*parsed, {cell.write_folders().begin(), cell.write_folders().end()})
            : std::nullopt;
    if (!outside) {
        pipeline = std::move(parsed);
    }
    return outside.value_or(std::string());
}

void PipelineHost::prepare() {
    if (pipeline && changeState(GST_STATE_READY)) {
        Report report;
        report.set_type(Report::PREPARED);
        channel.send(report);
    }
}

void PipelineHost::play() {
    if (pipeline) {
        changeState(GST_STATE_PLAYING);
    }
}

// What plays is told to end its stream, so that what writes a file can complete it.
void PipelineHost::finish() {
    ending = Ending::Wished;
    const bool started = pipeline && GST_STATE_TARGET(pipeline.get()) >= GST_STATE_PAUSED;
    if (!started) {
        return endOfStream();
    }
    GstState now = GST_STATE_VOID_PENDING;
    GstState pending = GST_STATE_VOID_PENDING;
    gst_element_get_state(pipeline.get(), &now, &pending, 0);
    if (now == GST_STATE_PLAYING && pending == GST_STATE_VOID_PENDING) {
        sendEndOfStream();
    }
    // On its way to playing it would wait for ever for the change of state that waits for it; the
    // end is sent when it plays.
}

void PipelineHost::sendEndOfStream() {
    ending = Ending::Sent;
    if (!gst_element_send_event(pipeline.get(), gst_event_new_eos())) {
        endOfStream();
    }
}

bool PipelineHost::changeState(GstState state) {
    if (gst_element_set_state(pipeline.get(), state) != GST_STATE_CHANGE_FAILURE) {
        return true;
    }
    const GstMessagePtr error(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR));
    endWithFailure(error ? textOf(*error)
                         : BusText{std::string("the pipeline cannot go to state ") +
                                       gst_element_state_get_name(state),
                                   {}});
    return false;
}

void PipelineHost::handle(GstMessage& message) {
    if (exitStatus) {
        return;
    }
    switch (GST_MESSAGE_TYPE(&message)) {
        case GST_MESSAGE_ERROR:
            return endWithFailure(textOf(message));
        case GST_MESSAGE_WARNING:
            return reportWarning(textOf(message));
        case GST_MESSAGE_EOS:
            return handleEndOfStream();
        case GST_MESSAGE_STATE_CHANGED:
            return handleStateChange(message);
        case GST_MESSAGE_LATENCY:
            gst_bin_recalculate_latency(GST_BIN(pipeline.get()));
            return;
        case GST_MESSAGE_CLOCK_LOST:
            return restartClock();
        default:
            return;
    }
}

void PipelineHost::handleEndOfStream() {
    const auto source = ending == Ending::NotWished ? sourceWithoutEnd(*pipeline) : std::string();
    if (source.empty()) {
        return endOfStream();
    }
    endWithFailure({source + ": the live stream has ended, and nobody asked for it", {}});
}

void PipelineHost::handleStateChange(GstMessage& message) {
    GstState now = GST_STATE_VOID_PENDING;
    gst_message_parse_state_changed(&message, nullptr, &now, nullptr);
    const bool ofPipeline = GST_MESSAGE_SRC(&message) == GST_OBJECT_CAST(pipeline.get());
    if (!ofPipeline || now != GST_STATE_PLAYING) {
        return;
    }
    if (progressTimer == 0) {
        startProgress();
    }
    if (ending == Ending::Wished) {
        sendEndOfStream();
    }
}

void PipelineHost::startProgress() {
    Report report;
    report.set_type(Report::PLAYING);
    channel.send(report);
    reportProgress();
    progressTimer = g_timeout_add(1000, Callbacks::progressDue, this);
}

// The element that gave the time has gone; a pause makes the pipeline choose another.
void PipelineHost::restartClock() {
    if (changeState(GST_STATE_PAUSED)) {
        changeState(GST_STATE_PLAYING);
    }
}

std::optional<gint64> PipelineHost::query(decltype(&gst_element_query_position) kind) const {
    gint64 value = -1;
    const bool known = kind(pipeline.get(), GST_FORMAT_TIME, &value) && value >= 0;
    return known ? std::optional(value) : std::nullopt;
}

void PipelineHost::reportProgress() {
    Report report;
    report.set_type(Report::PROGRESS);
    if (const auto position = query(gst_element_query_position)) {
        report.set_position_ns(*position);
    }
    if (const auto duration = query(gst_element_query_duration)) {
        report.set_duration_ns(*duration);
    }
    channel.send(report);
}

void PipelineHost::reportWarning(const BusText& text) {
    Report report;
    report.set_type(Report::WARNING);
    report.set_message(text.message);
    report.set_detail(text.detail);
    channel.send(report);
}

void PipelineHost::endWithFailure(const BusText& text) {
    Report report;
    report.set_type(Report::FAILURE);
    report.set_message(text.message);
    report.set_detail(text.detail);
    channel.send(report);
    end(1);
}

void PipelineHost::endOfStream() {
    if (pipeline && progressTimer != 0) {
        reportProgress();
    }
    Report report;
    report.set_type(Report::END_OF_STREAM);
    channel.send(report);
    end(0);
}

void PipelineHost::end(int status) {
    exitStatus = status;
    g_main_loop_quit(loop);
}

}  // namespace tarn::peers
