#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "proto/monitoring.pb.h"
#include "service/devices/storage/StorageConnection.h"
#include "tests/service/devices/support/StorageRequests.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

constexpr std::uint64_t megabyte = 1 << 20;
constexpr std::uint16_t storagePort = 20300;

/// How the service reaches the storage server.
enum class Over { UnixSocket, Tcp };

/// A service with a loop storage server, which are both the built programs. Over TCP by
/// `storagePort` of the test's own loopback network.
class LoopStorageTest : public SystemTest {
  protected:
    using Request = storage_requests::Request;
    using Reply = proto::loop_storage::Reply;
    using DeviceNode = proto::monitoring::DeviceNode;

    void TearDown() override;

    /// Names the storage in the configuration of the services that start from now on.
    void useStorage(Over transport, const std::string& furtherSections = {}) const;

    /// Starts the server and waits until it serves; its tracks are those of the one before.
    Process& startStorage(Over transport);
    Process& startStorage(const std::vector<std::string>& options,
                          const service::devices::StorageAddress& reachedAt);
    Process& storageServer() { return *server; }

    /// Both, and waits until the storage is in the tree.
    void startServiceWithStorage(Over transport);

    static std::string storageId(Over transport);
    static service::devices::StorageAddress addressOf(Over transport);

    /// The answer of the storage, through the service.
    Reply ask(const Request& request);

    /// Waits for the end of an operation that was taken on; what its ticket says then.
    Reply end(std::int64_t ticket);
    std::int64_t take(const Request& request);

    /// Creates a track and waits for it; its number.
    std::int64_t createTrack(std::uint64_t size);

    /// A node of the device tree; nothing when there is none of that id.
    std::optional<DeviceNode> node(const std::string& id);
    DeviceNode tree();

    static constexpr auto tracksFolder = "/var/log/tracks";
    static constexpr auto socketPath = "/run/loops";

  private:
    std::unique_ptr<Process> server;
};

/// A status or a property as text; "absent" without it.
std::string statusOf(const proto::monitoring::DeviceNode& node, const std::string& name);
std::string propertyOf(const proto::monitoring::DeviceNode& node, const std::string& name);

}  // namespace tarn::test
