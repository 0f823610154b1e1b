#include "peers/job_runtime/Launcher.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "peers/job_runtime/launcher/JobLog.h"
#include "peers/job_runtime/launcher/LauncherOptions.h"
#include "peers/job_runtime/launcher/LauncherProcess.h"
#include "peers/job_runtime/launcher/SetupServer.h"
#include "peers/job_runtime/pipeline/PipelineProcess.h"
#include "peers/job_runtime/supervision/Job.h"
#include "peers/job_runtime/supervision/SetupAnswer.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/access/TcpAccess.h"
#include "platform/program/Program.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

namespace {

constexpr std::size_t maxSetupText = 65536;

class Launcher {
  public:
    Launcher(LauncherOptions options, const SetupProtocol& protocol)
        : options(std::move(options)), protocol(protocol) {}

    int run() {
        startPipelineProcess();
        SetupServer server(options.endpoint, protocol);
        if (!options.label.empty()) {
            openLog(options.label);
        }
        const auto deadline = SetupServer::Clock::now() + options.setupTimeout;
        auto setup = server.wait(deadline, stop);
        if (!setup) {
            utils::logError("No setup arrived: ending");
            return 1;
        }
        begin(*setup);
        return runJob(std::move(*setup), server);
    }

  private:
    // Started before it is needed, so that its start and the wait for the setup go on together. It
    // is tried again when there is somebody to tell of a failure.
    void startPipelineProcess() {
        try {
            process = std::make_unique<PipelineProcess>();
        } catch (const std::exception& e) {
            utils::logError(std::string("Cannot start the pipeline process: ") + e.what());
        }
    }

    void openLog(const std::string& label) {
        const auto folders =
            options.logFolder.empty() ? jobLogFolders() : std::vector{options.logFolder};
        logFile = openJobLog(folders, label);
        if (options.daemon) {
            closeStandardStreams();
        }
    }

    void begin(const JobSetup& setup) {
        const auto& label = options.label.empty() ? setup.label : options.label;
        if (options.label.empty()) {
            openLog(label);
        }
        utils::logInfo("Job " + utils::printable(label, maxSetupText));
        utils::logInfo("Job id " +
                       utils::printable(setup.job.getJobDescription().getJobId(), maxSetupText));
        utils::logInfo("Pipeline " + utils::printable(setup.pipeline, maxSetupText));
        for (const auto& [name, value] : setup.environment) {
            utils::logInfo("With " + name + "=" + utils::printable(value, maxSetupText));
        }
    }

    int runJob(JobSetup setup, SetupServer& server) {
        SetupAnswer answer([&](const SetupVerdict& verdict) { server.answer(verdict); },
                           SetupAnswer::Clock::now());
        const auto job = makeJob(std::move(setup), answer);
        if (!job) {
            return 1;
        }
        const int status = job->run(answer) ? 0 : 1;
        if (!job->close()) {
            // Everything is done; only the wait for an answer that nobody needs is not.
            std::_Exit(status);
        }
        return status;
    }

    std::unique_ptr<Job> makeJob(JobSetup setup, SetupAnswer& answer) {
        try {
            protect(setup);
            return std::make_unique<Job>(std::move(setup), std::move(process), stop, logFile);
        } catch (const std::exception& e) {
            utils::logError("Job setup failed: " + utils::printable(e.what(), maxSetupText));
            answer.refuse(e.what());
            return nullptr;
        }
    }

    // Its endpoints are those that clients reach; what it connects to itself is the service's.
    void protect(const JobSetup& setup) {
        for (const auto& endpoint :
             {setup.job.getCommandEndpoint(), setup.job.getEventEndpoint()}) {
            access::checkReach(setup.tcpAccess, socket::SocketEndpoint::FromString(endpoint));
        }
        if (setup.tcpAccess.required || setup.tcpAccess.hasKeys()) {
            tcpAccess.emplace(setup.tcpAccess);
        }
    }

    const LauncherOptions options;
    const SetupProtocol& protocol;
    std::optional<access::TcpAccess> tcpAccess;  // until the last of its sockets is closed
    StopRequest stop;
    std::unique_ptr<PipelineProcess> process;
    std::string logFile;
};

}  // namespace

int runLauncher(int argc, char** argv, const std::string& purpose, const SetupProtocol& protocol) {
    program::CommandLine line(argc, argv, std::cout, std::cerr);
    const auto options = parseLauncherOptions(line, purpose);
    if (!options) {
        return line.exitStatus();
    }
    return program::runBody([&] {
        resetInheritedState();
        if (options->daemon) {
            detach();
        }
        program::setUpProcess();
        return Launcher(*options, protocol).run();
    });
}

}  // namespace tarn::peers
