#include "service/events/EventEmitter.h"

#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/device_tree/BytesFromBehind.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/TreeSerialiser.h"
#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "proto/service_event.pb.h"

namespace tarn::service {

using tarn::proto::service_event::ServiceEvent;
using tarn::proto::service_event::ServiceEventBatch;

namespace {

constexpr std::uint32_t connectWithinMs = 500;
constexpr std::uint32_t roomWithinMs = 1000;
// Each may hold a whole tree.
constexpr int mostUnsentBatches = 8;

}  // namespace

struct EventEmitter::Batch {
    std::optional<device_tree::DeviceNode> tree;
    std::vector<ServiceEvent> events;
    bool urgent = false;  // remembered here: a notification that nobody waits for is lost
};

EventEmitter::EventEmitter(std::chrono::milliseconds period)
    : MessageFormatter("Internal Event Emitter"),
      period(period),
      batch(std::make_unique<Batch>()) {}

EventEmitter::~EventEmitter() {
    stopThread();
}

void EventEmitter::startThread(const socket::SocketEndpoint& endpoint) {
    const std::lock_guard lock(threadMutex);
    if (thread) {
        return;
    }
    stopFlag = false;
    thread = std::make_shared<std::thread>([this, endpoint] { emitterThreadFunction(endpoint); });
}

void EventEmitter::stopThread() {
    const std::lock_guard lock(threadMutex);
    stopFlag = true;
    {
        const std::lock_guard notBetweenLookingAndWaiting(batchMutex);
        wakeUp.notify_all();
    }
    if (!thread || !thread->joinable()) {
        return;
    }
    try {
        thread->join();
    } catch (const std::system_error& e) {
        utils::logError(
            formatMessage(std::string("Error stopping event emission thread: ") + e.what()));
    }
}

void EventEmitter::pushEvent(const device_tree::DeviceNode& tree, const ServiceEvent* event,
                             bool notify) {
    std::optional<device_tree::DeviceNode> outdated(tree);  // let go of outside the lock
    {
        const std::lock_guard lock(batchMutex);
        if (!batch) {
            return;
        }
        batch->tree.swap(outdated);
        if (event != nullptr) {
            batch->events.push_back(*event);
        }
        batch->urgent = batch->urgent || notify;
    }
    if (notify) {
        wakeUp.notify_all();
    }
}

void EventEmitter::emitterThreadFunction(const socket::SocketEndpoint& endpoint) {
    socket::Socket socket("EventEmitterSocket", socket::ClosePolicy::Discard);
    if (connect(socket, endpoint)) {
        device_tree::TreeSerialiser serialiser;
        while (!stopFlag) {
            awaitOccasion();
            awaitRoom(socket);
            send(takeBatch(), serialiser, socket);
        }
    }
    dropFromNowOn();
}

bool EventEmitter::connect(socket::Socket& socket, const socket::SocketEndpoint& endpoint) {
    try {
        socket.setQueueLength(mostUnsentBatches);
        socket.createAndConnect(socket::Protocol::Push, endpoint, connectWithinMs);
        return true;
    } catch (const std::exception& e) {
        utils::logError(
            formatMessage(std::string("Failed creating event emitter socket: ") + e.what()));
        return false;
    }
}

void EventEmitter::awaitOccasion() {
    std::unique_lock lock(batchMutex);
    wakeUp.wait_for(lock, period, [this] { return batch->urgent || stopFlag; });
}

// What is pushed meanwhile goes into the same batch.
void EventEmitter::awaitRoom(socket::Socket& socket) {
    try {
        socket.awaitRoom(roomWithinMs);
    } catch (const std::exception&) {
        // then sending will not work either, and say so
    }
}

EventEmitter::Batch EventEmitter::takeBatch() {
    const std::lock_guard lock(batchMutex);
    return std::exchange(*batch, Batch());
}

// A batch that cannot be sent is lost: the next one holds the whole tree again.
void EventEmitter::send(const Batch& gathered, device_tree::TreeSerialiser& serialiser,
                        socket::Socket& socket) {
    try {
        ServiceEventBatch events;
        events.mutable_events()->Add(gathered.events.begin(), gathered.events.end());
        if (!gathered.tree) {
            return socket.sendProtoBuf(&events);
        }
        const auto tree = serialiser.serialise(*gathered.tree);
        device_tree::BytesFromBehind head;
        head.prependFieldHead(ServiceEventBatch::kDeviceTreeFieldNumber, tree.size());
        socket.sendParts({head.view(), tree, events.SerializeAsString()});
    } catch (const std::exception& e) {
        utils::logError(
            formatMessage("Failed sending events on " + socket.debugString() + ": " + e.what()));
    }
}

void EventEmitter::dropFromNowOn() {
    const std::lock_guard lock(batchMutex);
    batch.reset();
}

}  // namespace tarn::service
