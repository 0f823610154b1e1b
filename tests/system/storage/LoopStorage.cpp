#include "tests/system/storage/LoopStorage.h"

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "service/devices/storage/StorageConnection.h"
#include "tests/support/Eventually.h"

namespace tarn::test {

using namespace proto::loop_storage;
using namespace storage_requests;
using proto::api_service::ApiToServiceRequest;
using proto::api_service::ApiToServiceRequestLoopStorage;
using proto::api_service::ServiceToApiReply;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using proto::api_service::ServiceToApiReplyLoopStorage;
using service::devices::connectStorage;
using service::devices::StorageAddress;
using service::devices::StorageError;

namespace {

std::vector<std::string> listening(Over transport, const std::string& path) {
    return transport == Over::Tcp
               ? std::vector<std::string>{"--tcp", "127.0.0.1:" + std::to_string(storagePort)}
               : std::vector<std::string>{"--unix", path};
}

}  // namespace

StorageAddress LoopStorageTest::addressOf(Over transport) {
    return transport == Over::Tcp ? StorageAddress{"127.0.0.1", storagePort}
                                  : StorageAddress{socketPath};
}

void LoopStorageTest::TearDown() {
    if (server) {
        // The thread sanitizer can keep a signal back that meets a thread between two waits, as one
        // that has just been continued is: it is asked to end when it serves again.
        server->signal(SIGCONT);
        StorageError error;
        eventually([&] {
            return connectStorage(StorageAddress{socketPath}, error) != nullptr ||
                   connectStorage(addressOf(Over::Tcp), error) != nullptr ||
                   server->waitForEnd(std::chrono::seconds(0)).how != Ending::How::StillRunning;
        });
        server->signal(SIGTERM);
        EXPECT_NE(server->waitForEnd(std::chrono::seconds(20)).how, Ending::How::StillRunning);
        if (HasFailure()) {
            std::cerr << "---- log of the storage\n" << server->output().text();
        }
    }
    std::filesystem::remove_all(tracksFolder);
    SystemTest::TearDown();
}

void LoopStorageTest::useStorage(Over transport, const std::string& furtherSections) const {
    const auto address = addressOf(transport);
    const auto elements = transport == Over::Tcp
                              ? "<InterfaceType>tcp</InterfaceType><TcpPort>" +
                                    std::to_string(storagePort) + "</TcpPort>"
                              : std::string("<InterfaceType>unix</InterfaceType>");
    configureSections("<Storage type=\"LoopStorage\">" + elements + "<InterfaceAddress>" +
                      address.address + "</InterfaceAddress></Storage>" + furtherSections);
}

Process& LoopStorageTest::startStorage(Over transport) {
    return startStorage(listening(transport, socketPath), addressOf(transport));
}

Process& LoopStorageTest::startStorage(const std::vector<std::string>& options,
                                       const StorageAddress& reachedAt) {
    std::vector<std::string> command = {loopStorageProgram, "--directory", tracksFolder};
    command.insert(command.end(), options.begin(), options.end());
    server = std::make_unique<Process>(command);
    StorageError error;
    const auto serves = [&] { return connectStorage(reachedAt, error) != nullptr; };
    if (!eventually(serves, std::chrono::seconds(20))) {
        throw std::runtime_error("the storage does not serve: " + error.message());
    }
    return *server;
}

void LoopStorageTest::startServiceWithStorage(Over transport) {
    startStorage(transport);
    useStorage(transport);
    startService();
    if (!eventually([&] { return node(storageId(transport)).has_value(); })) {
        throw std::runtime_error("the storage is not in the tree");
    }
}

std::string LoopStorageTest::storageId(Over transport) {
    const auto address = addressOf(transport);
    return transport == Over::Tcp
               ? "Storage-tcp-" + address.address + ":" + std::to_string(address.port)
               : "Storage-unix-" + address.address;
}

Reply LoopStorageTest::ask(const Request& request) {
    auto envelope = requestOfType(ApiToServiceRequest::LOOP_STORAGE);
    *envelope.MutableExtension(ApiToServiceRequestLoopStorage::base)->mutable_request() = request;
    const auto reply = api().ask(envelope, std::chrono::seconds(20));
    if (!reply) {
        throw std::runtime_error("the service does not answer");
    }
    EXPECT_EQ(reply->type(), ServiceToApiReply::LOOP_STORAGE);
    EXPECT_TRUE(reply->success());
    return reply->GetExtension(ServiceToApiReplyLoopStorage::base).reply();
}

std::int64_t LoopStorageTest::take(const Request& request) {
    const auto reply = ask(request);
    EXPECT_TRUE(reply.success()) << reply.error_message();
    const auto ticket = ticketIn(reply);
    if (ticket == 0) {
        throw std::runtime_error("no ticket was given");
    }
    return ticket;
}

Reply LoopStorageTest::end(std::int64_t ticket) {
    Reply last;
    const bool ended = eventually(
        [&] {
            last = ask(ticketStatus(ticket));
            return last.GetExtension(GetTicketStatusReply::base).status() != TICKET_RUNNING;
        },
        std::chrono::seconds(30));
    EXPECT_TRUE(ended) << "ticket " << ticket;
    return last;
}

std::int64_t LoopStorageTest::createTrack(std::uint64_t size) {
    const auto reply = end(take(storage_requests::createTrack(size)));
    EXPECT_TRUE(reply.success()) << reply.error_message();
    return reply.GetExtension(GetTicketStatusReply::base).track_id();
}

LoopStorageTest::DeviceNode LoopStorageTest::tree() {
    const auto reply = api().ask(requestOfType(ApiToServiceRequest::GET_MONITORING_INFO));
    if (!reply) {
        throw std::runtime_error("the service does not answer");
    }
    return reply->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree();
}

namespace {

std::optional<proto::monitoring::DeviceNode> findIn(const proto::monitoring::DeviceNode& tree,
                                                    const std::string& id) {
    if (tree.id() == id) {
        return tree;
    }
    for (const auto& device : tree.sub_devices()) {
        if (auto found = findIn(device, id)) {
            return found;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<LoopStorageTest::DeviceNode> LoopStorageTest::node(const std::string& id) {
    return findIn(tree(), id);
}

std::string statusOf(const proto::monitoring::DeviceNode& node, const std::string& name) {
    for (const auto& status : node.statuses()) {
        if (status.name() == name) {
            return status.has_text_value()       ? status.text_value()
                   : status.has_unsigned_value() ? std::to_string(status.unsigned_value())
                                                 : std::to_string(status.signed_value());
        }
    }
    return "absent";
}

std::string propertyOf(const proto::monitoring::DeviceNode& node, const std::string& name) {
    for (const auto& property : node.properties()) {
        if (property.name() == name) {
            return property.value();
        }
    }
    return "absent";
}

}  // namespace tarn::test
