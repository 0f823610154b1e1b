#include "service/devices/storage/LoopStorageDeviceController.h"

#include <exception>
#include <system_error>
#include <utility>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "service/devices/storage/StorageDescription.h"
#include "service/devices/storage/TrackTasks.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;

namespace {

constexpr std::chrono::seconds betweenPolls{1};
constexpr std::chrono::seconds afterFailedConnection{5};

std::string libraryVersion() {
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    tarn_storage_get_version(&major, &minor, &patch);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

}  // namespace

LoopStorageDeviceController::LoopStorageDeviceController(const std::string& address,
                                                         std::uint16_t port, Dependencies given)
    : dependencies(std::move(given)), storage{address, port}, publisher(notifyEvent) {
    startPollingThread();
}

LoopStorageDeviceController::LoopStorageDeviceController(const std::string& path,
                                                         Dependencies dependencies)
    : LoopStorageDeviceController(path, 0, std::move(dependencies)) {}

LoopStorageDeviceController::~LoopStorageDeviceController() {
    stopPollingThread();
    dependencies.tasks.joinAll(dependencies.patience);
}

std::string LoopStorageDeviceController::messageHeader() const {
    return "LoopStorageDeviceController on " + storage.address +
           (storage.port == 0 ? "" : ":" + std::to_string(storage.port));
}

void LoopStorageDeviceController::stop() {}

void LoopStorageDeviceController::startPollingThread() {
    stopPollingThread();
    try {
        pollingThread.start([this](const std::stop_token& stop) { pollingThreadFunction(stop); });
    } catch (const std::system_error& e) {
        logFailure(std::string("Failed starting polling thread: ") + e.what());
    }
}

void LoopStorageDeviceController::stopPollingThread() {
    try {
        pollingThread.stop();
    } catch (const std::system_error& e) {
        logFailure(std::string("Failed stopping polling thread: ") + e.what());
    }
}

StorageConnection LoopStorageDeviceController::createConnection() const {
    StorageError error;
    auto created = connectStorage(storage, error);
    if (error.isSet()) {
        logFailure(error.message());
    }
    return created;
}

void LoopStorageDeviceController::pollingThreadFunction(const std::stop_token& stop) {
    utils::logInfo(formatMessage("Storage API version " + libraryVersion()));
    while (!stop.stop_requested()) {
        dependencies.pause(pollOnce(stop), stop);
    }
}

/// The pause after it.
std::chrono::milliseconds LoopStorageDeviceController::pollOnce(const std::stop_token& stop) {
    try {
        connection = createConnection();
        if (!connection) {
            updateDeviceTree(nullptr);
            return afterFailedConnection;
        }
        const std::stop_callback interrupting(
            stop, [this] { tarn_storage_connection_interrupt(connection.get()); });
        pollDevice(stop);
    } catch (const std::exception& e) {
        logFailure(e.what());
    }
    connection.reset();
    return betweenPolls;
}

void LoopStorageDeviceController::pollDevice(const std::stop_token& stop) {
    std::shared_ptr<DeviceNode> node;
    try {
        node = StorageDescription(storage, *this).ask(*connection);
    } catch (const StorageFailure& e) {
        if (stop.stop_requested()) {
            return;  // nothing is wrong with the storage
        }
        logFailure(e.what());
    }
    updateDeviceTree(node);
}

void LoopStorageDeviceController::updateDeviceTree(const std::shared_ptr<DeviceNode>& node) {
    publisher.updateDeviceTree(node);
}

void LoopStorageDeviceController::logFailure(const std::string& reason) const {
    utils::logError(formatMessage(reason));
}

}  // namespace tarn::service::devices
