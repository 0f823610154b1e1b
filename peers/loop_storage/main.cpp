// Keeps tracks, rings on disk, and serves who writes and reads them.
#include <signal.h>

#include <exception>
#include <iostream>
#include <memory>

#include "peers/loop_storage/LoopStorageOptions.h"
#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/ring/BootId.h"
#include "peers/loop_storage/ring/Verification.h"
#include "peers/loop_storage/server/Server.h"
#include "platform/os/ProcessDefaults.h"
#include "platform/os/StopSignals.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/ConsoleLogSink.h"

namespace {

using namespace tarn::peers::loop_storage;

void run(const LoopStorageOptions& options) {
    const tarn::os::StopSignals stop;  // before there are threads
    Storage storage(options.directory, options.capacity, readBootId());
    SessionLimits limits;
    limits.patience = options.clientTimeOut;
    limits.idle = options.idleTimeOut;
    limits.clients = options.clients;
    Server server(storage, limits, stop.descriptor());
    if (!options.unixPath.empty()) {
        server.listenUnix(options.unixPath);
        tarn::utils::logInfo("Listens on " + options.unixPath);
    }
    if (options.tcp) {
        tarn::utils::logInfo("Listens on " +
                             server.listenTcp(options.tcp->host, options.tcp->port));
    }
    tarn::utils::logInfo("Serves " + std::to_string(storage.catalogue().ids().size()) +
                         " tracks in " + options.directory.string());
    server.run();
    storage.finish();  // it may still want to answer clients that are gone
    tarn::utils::logInfo("Ended");
}

}  // namespace

int main(int argc, char** argv) {
    int exitStatus = 0;
    const auto options = parseLoopStorageOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    tarn::os::ignoreBrokenPipes();
    tarn::os::raiseDescriptorLimit();
    ::signal(SIGXFSZ, SIG_IGN);  // a limit of the file size is an error like a full disk
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::ConsoleLogSink>(tarn::utils::LogLevel::Info));
    try {
        if (!options->verify.empty()) {
            return verify(options->verify, readBootId(), std::cout) ? 0 : 1;
        }
        run(*options);
        return 0;
    } catch (const std::exception& e) {
        tarn::utils::logError(e.what());
        return 1;
    }
}
