#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "proto/loop_storage.fwd.h"
#include "service/devices/ControllerThread.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DevicePublisher.h"
#include "service/devices/Pause.h"
#include "service/devices/storage/StorageConnection.h"

namespace tarn::service::devices {

class TrackTasks;

/// Watches one loop storage server, on a thread of its own, and carries out operations on its
/// tracks.
///
/// Every second the server is asked for everything over a new connection and described as a device
/// with a sub-device for each track. A server that cannot be reached, or does not answer properly,
/// is not in the device tree; one that cannot be reached is tried again after 5 s.
class LoopStorageDeviceController : public DeviceController {
  public:
    struct Dependencies {
        TrackTasks& tasks;  ///< must outlive the controller
        Pause pause = realPause;
        /// How long the destructor lets operations on tracks run on.
        std::chrono::milliseconds patience = std::chrono::seconds(10);
    };

    /// Over TCP (a port of 0 makes it a path), or over the Unix socket of that path. Both start
    /// polling.
    LoopStorageDeviceController(const std::string& address, std::uint16_t port,
                                Dependencies dependencies);
    LoopStorageDeviceController(const std::string& path, Dependencies dependencies);

    /// Ends the polling: at once, but for a connection that is being made (5 s at most). Then joins
    /// every operation on tracks that still runs, also those of other controllers. What does not
    /// end within the patience is left to the server.
    ~LoopStorageDeviceController() override;

    std::string messageHeader() const override;

    /// Does nothing: as long as the object is there, it polls.
    void stop() override;

    /// Stops a thread that runs already.
    void startPollingThread();
    void stopPollingThread();

    /// A connection of the caller's own. Null, which is logged, when there is none.
    StorageConnection createConnection() const;

    /// Does what an API client wants. False with the reason in `error`; the reply is complete
    /// otherwise. Slow operations go on when this returns. Called by one thread at a time.
    bool handleApiRequest(tarn::proto::loop_storage::Request& request,
                          tarn::proto::loop_storage::Reply& reply, std::string& error);

  private:
    using Request = tarn::proto::loop_storage::Request;
    using Reply = tarn::proto::loop_storage::Reply;

    void pollingThreadFunction(const std::stop_token& stop);
    std::chrono::milliseconds pollOnce(const std::stop_token& stop);
    void pollDevice(const std::stop_token& stop);
    void updateDeviceTree(const std::shared_ptr<device_tree::DeviceNode>& node);
    void logFailure(const std::string& reason) const;

    bool handleGetTicketStatusRequest(
        const tarn::proto::loop_storage::GetTicketStatusRequest& request, Reply& reply,
        std::string& error);
    bool handleCreateTrackRequest(const tarn::proto::loop_storage::CreateTrackRequest& request,
                                  Reply& reply, std::string& error);
    bool handleResizeTrackRequest(const tarn::proto::loop_storage::ResizeTrackRequest& request,
                                  Reply& reply, std::string& error);
    bool handleClearTrackRequest(const tarn::proto::loop_storage::ClearTrackRequest& request,
                                 Reply& reply, std::string& error);
    bool handleDestroyTrackRequest(const tarn::proto::loop_storage::DestroyTrackRequest& request,
                                   Reply& reply, std::string& error);
    bool handleSetTrackPropertiesRequest(
        const tarn::proto::loop_storage::SetTrackPropertiesRequest& request, Reply& reply,
        std::string& error);
    bool handleGetTrackSizeRequest(const tarn::proto::loop_storage::GetTrackSizeRequest& request,
                                   Reply& reply, std::string& error);
    bool handleGetRemainingSpaceRequest(
        const tarn::proto::loop_storage::GetRemainingSpaceRequest& request, Reply& reply,
        std::string& error);
    bool handleGetTrackPropertiesRequest(
        const tarn::proto::loop_storage::GetTrackPropertiesRequest& request, Reply& reply,
        std::string& error);
    bool handleRemoveTrackPropertiesRequest(
        const tarn::proto::loop_storage::RemoveTrackPropertiesRequest& request, Reply& reply,
        std::string& error);
    bool handleGetWorkersRequest(const tarn::proto::loop_storage::GetWorkersRequest& request,
                                 Reply& reply, std::string& error);
    bool handleEvictWorkerRequest(const tarn::proto::loop_storage::EvictWorkerRequest& request,
                                  Reply& reply, std::string& error);

    /// Calls `operation` on a connection made for it. False with the reason in `error`.
    using Operation = std::function<void(tarn_storage_connection*, tarn_storage_error*)>;
    bool operate(const Operation& operation, std::string& error) const;

    const Dependencies dependencies;
    const StorageAddress storage;

    // The polling thread's own:
    DevicePublisher publisher;
    StorageConnection connection;  ///< null between polls

    ControllerThread pollingThread;  // last: it uses the others
};

}  // namespace tarn::service::devices
