#pragma once

#include <optional>
#include <string>

#include "peers/pipeline_channel/MessageChannel.h"
#include "peers/pipeline_process/BusText.h"
#include "peers/pipeline_process/CellOfJob.h"
#include "peers/pipeline_process/GstPointers.h"
#include "proto/pipeline_control.fwd.h"

namespace tarn::peers {

/// Runs one pipeline as the launcher commands it over the channel, and reports. Everything happens
/// on the thread of `run`. When the launcher goes away the whole process group is killed, this
/// process with it.
class PipelineHost {
  public:
    /// `enter` confines this process before it looks at a pipeline's text.
    PipelineHost(os::FileDescriptor channel, EnterCell enter);
    ~PipelineHost();
    PipelineHost(const PipelineHost&) = delete;
    PipelineHost& operator=(const PipelineHost&) = delete;

    /// Until the stream has ended (0) or something failed (1), which was reported then. A live
    /// stream that ends though nobody wished it has failed.
    int run();

  private:
    using Command = tarn::proto::pipeline_control::PipelineCommand;
    using Report = tarn::proto::pipeline_control::PipelineReport;
    struct Callbacks;
    enum class Ending { NotWished, Wished, Sent };

    void takeCommands();
    void handle(const Command& command);
    void parse(const Command& command);
    std::string build(const Command& command);
    void prepare();
    void play();
    void finish();
    void sendEndOfStream();

    void handle(GstMessage& message);
    void handleEndOfStream();
    void handleStateChange(GstMessage& message);
    void restartClock();
    void startProgress();

    bool changeState(GstState state);
    std::optional<gint64> query(decltype(&gst_element_query_position) kind) const;
    void reportProgress();
    void reportWarning(const BusText& text);
    void endWithFailure(const BusText& text);
    void endOfStream();
    void end(int status);

    MessageChannel channel;
    const EnterCell enter;
    GMainLoop* const loop;
    GstElementPtr pipeline;
    GstBusPtr bus;
    guint channelWatch = 0;
    guint progressTimer = 0;
    Ending ending = Ending::NotWished;
    std::optional<int> exitStatus;  // set once the end was reported
};

}  // namespace tarn::peers
