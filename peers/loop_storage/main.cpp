// Keeps tracks, rings on disk, and serves who writes and reads them.
#include <signal.h>
#include <sys/resource.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "peers/loop_storage/BootId.h"
#include "peers/loop_storage/LoopStorageOptions.h"
#include "peers/loop_storage/Server.h"
#include "peers/loop_storage/Storage.h"
#include "platform/utils/Log.h"
#include "platform/utils/StreamLogSink.h"

namespace {

using namespace tarn::peers::loop_storage;

// Every client is a descriptor, and every track in use two.
void allowManyDescriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void run(const LoopStorageOptions& options) {
    Storage storage(options.directory, options.capacity, readBootId());
    SessionLimits limits;
    limits.patience = options.clientTimeOut;
    Server server(storage, limits);
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
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);  // a limit of the file size is an error like a full disk
    tarn::utils::setLogSink(
        std::make_shared<tarn::utils::StreamLogSink>(stderr, tarn::utils::LogLevel::Info));
    allowManyDescriptors();
    try {
        run(*options);
        return 0;
    } catch (const std::exception& e) {
        tarn::utils::logError(e.what());
        return 1;
    }
}
