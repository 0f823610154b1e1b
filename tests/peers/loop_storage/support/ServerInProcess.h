#pragma once

#include <memory>
#include <thread>

#include "peers/loop_storage/operations/Storage.h"
#include "peers/loop_storage/server/Server.h"
#include "platform/os/WakeUp.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// The server in the test's own process, where its disk can be a FaultyDisk, which must outlive it.
class ServerInProcess {
  public:
    ServerInProcess() : server(storage, peers::loop_storage::SessionLimits{}, stop.descriptor()) {
        const auto address = server.listenTcp("127.0.0.1", 0);
        tcpPort = static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1)));
        server.listenUnix(socketPath());
        thread = std::thread([this] { server.run(); });
    }
    ~ServerInProcess() {
        stop.ring();
        thread.join();
        storage.finish();
    }
    ServerInProcess(const ServerInProcess&) = delete;
    ServerInProcess& operator=(const ServerInProcess&) = delete;

    std::uint16_t port() const { return tcpPort; }
    std::string socketPath() const { return (folder.path() / "socket").string(); }

    std::filesystem::path trackFolder(std::int64_t track) const {
        return folder.path() / "tracks" / ("track-" + std::to_string(track));
    }

  private:
    os::WakeUp stop;
    const TemporaryFolder folder{Medium::Disk};
    peers::loop_storage::Storage storage{
        folder.path() / "tracks", std::nullopt, {'b', 'o', 'o', 't'}};
    peers::loop_storage::Server server;
    std::uint16_t tcpPort = 0;
    std::thread thread;
};

}  // namespace tarn::test
