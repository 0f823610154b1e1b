// Keeps tracks, rings on disk, and serves who writes and reads them.
#include <signal.h>

#include <iostream>

#include "peers/loop_storage/LoopStorageOptions.h"
#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/ring/BootId.h"
#include "peers/loop_storage/ring/index/Verification.h"
#include "peers/loop_storage/server/Server.h"
#include "platform/os/StopSignals.h"
#include "platform/program/Program.h"
#include "platform/program/Readiness.h"
#include "platform/utils/Log.h"

namespace {

using namespace tarn::peers::loop_storage;

int serve(const LoopStorageOptions& options) {
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
    if (!options.certificate.empty()) {
        server.protectTcp(tarn::tls::readCertifiedKeyFile(options.certificate),
                          options.clientCertificates);
    }
    if (options.tcp) {
        const auto reach =
            options.requireKeys ? Server::Reach::WithinThisMachine : Server::Reach::Anywhere;
        tarn::utils::logInfo("Listens on " +
                             server.listenTcp(options.tcp->host, options.tcp->port, reach));
    }
    tarn::utils::logInfo("Serves " + std::to_string(storage.catalogue().ids().size()) +
                         " tracks in " + options.directory.string());
    tarn::program::announceReadiness();
    server.run();
    storage.finish();  // it may still want to answer clients that are gone
    tarn::utils::logInfo("Ended");
    return tarn::program::done;
}

int verifyOrServe(const LoopStorageOptions& options) {
    ::signal(SIGXFSZ, SIG_IGN);  // a limit of the file size is an error like a full disk
    if (options.verify.empty()) {
        return serve(options);
    }
    return verify(options.verify, readBootId(), std::cout) ? tarn::program::done
                                                           : tarn::program::failed;
}

}  // namespace

int main(int argc, char** argv) {
    return tarn::program::run(argc, argv, parseLoopStorageOptions, verifyOrServe);
}
