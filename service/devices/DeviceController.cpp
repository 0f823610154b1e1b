#include "service/devices/DeviceController.h"

#include <string>

#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceEventListener.h"

namespace tarn::service::devices {

using tarn::proto::monitoring::DeviceToTarnServiceEvent;

namespace {

struct InternalEventSocket {
    socket::Socket socket{"Internal event emitter", socket::ClosePolicy::Discard};
    bool isConnected = false;
};

bool connect(InternalEventSocket& sender) {
    if (sender.isConnected) {
        return true;
    }
    try {
        sender.socket.createAndConnect(socket::Protocol::Push,
                                       DeviceEventListener::GetInternalEventEndpoint(), 0);
        sender.isConnected = true;
    } catch (const std::exception& e) {
        utils::logError(
            std::string("DeviceController > Failed connecting to internal event thread: ") +
            e.what());
    }
    return sender.isConnected;
}

bool send(InternalEventSocket& sender, const DeviceToTarnServiceEvent* event) {
    try {
        sender.socket.sendProtoBuf(event);
        return true;
    } catch (const std::exception& e) {
        utils::logError(std::string("DeviceController > Failed sending event: ") + e.what());
        return false;
    }
}

}  // namespace

bool DeviceController::notifyEvent(const DeviceToTarnServiceEvent* event) {
    static utils::Synchronised<InternalEventSocket> shared;
    auto sender = shared.lock();
    return connect(*sender) && send(*sender, event);
}

}  // namespace tarn::service::devices
