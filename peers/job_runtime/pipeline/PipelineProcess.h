#pragma once

#include <sys/types.h>

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/pipeline/OutputLines.h"
#include "peers/job_runtime/pipeline/ProcessEnd.h"
#include "peers/pipeline_channel/MessageChannel.h"
#include "platform/os/Subprocess.h"
#include "proto/pipeline_control.fwd.h"
#include "proto/service.fwd.h"

namespace tarn::peers {

/// The process that runs a pipeline, as its launcher sees it: commands, reports, output (which goes
/// to the log), and its end. It leads a process group of its own, of which nothing is left when
/// this object is gone.
///
/// Used by one thread, and made by one that lives as long as the process is to live: the kernel
/// ends the pipeline process with the thread that started it.
class PipelineProcess {
  public:
    /// Starts the program beside this process's own. Throws std::system_error.
    PipelineProcess();
    ~PipelineProcess();  ///< kills what still runs
    PipelineProcess(const PipelineProcess&) = delete;
    PipelineProcess& operator=(const PipelineProcess&) = delete;

    /// Commands throw std::runtime_error when the process cannot be told.
    void parse(const std::string& pipeline, const std::map<std::string, std::string>& environment,
               const tarn::service::proto::JobCell& cell);
    void prepare();
    void play();
    void finish();

    /// To the whole group.
    void signalGroup(int signal) const;

    pid_t id() const { return process->id(); }

    /// For poll: reports, output, and the end of the process. Negative ones have no more to say.
    std::array<int, 3> descriptors() const;

    /// Takes what has arrived, without waiting; output goes to the log line by line.
    void read();

    /// That there will be no more reports and no more commands are taken.
    bool isSilent() const { return !channelOpen; }

    /// The next report of what was taken; false when there is none. Throws std::runtime_error when
    /// the process sends what is no report.
    bool nextReport(tarn::proto::pipeline_control::PipelineReport& report);

    /// How it ended; nothing while it runs. What is left of the group is killed then.
    std::optional<ProcessEnd> end();

  private:
    void readOutput();

    std::unique_ptr<MessageChannel> channel;
    bool channelOpen = true;
    os::FileDescriptor output;
    OutputLines lines;
    std::optional<os::Subprocess> process;
};

}  // namespace tarn::peers
