#include "service/events/EventEmitter.h"

#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/ReverseWriter.h"
#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "platform/utils/UuidGenerator.h"
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
      instance(utils::UuidGenerator::Generate()),
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

void EventEmitter::withMessageOf(const device_tree::DeviceNode& tree,
                                 const std::function<void(std::string_view)>& take) {
    auto kept = serialiser.lock();
    take(kept->serialise(tree));
}

void EventEmitter::emitterThreadFunction(const socket::SocketEndpoint& endpoint) {
    socket::Socket socket("EventEmitterSocket", socket::ClosePolicy::Discard);
    if (connect(socket, endpoint)) {
        sendBatches(socket);
    }
    dropFromNowOn();
}

// Where there was no room, the wait for it is the occasion of the next batch.
void EventEmitter::sendBatches(socket::Socket& socket) {
    std::uint64_t number = 0;
    Room room = Room::Unknown;
    while (!stopFlag) {
        if (room != Room::None) {
            awaitOccasion();
        }
        room = awaitRoom(socket);
        auto taken = takeBatch();
        ServiceEventBatch message;
        message.set_service_sequence(++number);
        message.set_service_instance(instance);
        if (send(taken, message, socket) == Delivery::Failed && room == Room::None) {
            oweTreeOf(std::move(taken));
        }
    }
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
EventEmitter::Room EventEmitter::awaitRoom(socket::Socket& socket) {
    try {
        return socket.awaitRoom(roomWithinMs) ? Room::Unknown : Room::None;
    } catch (const std::exception&) {
        return Room::Unknown;  // then sending will not work either, and say so
    }
}

EventEmitter::Batch EventEmitter::takeBatch() {
    const std::lock_guard lock(batchMutex);
    return std::exchange(*batch, Batch());
}

// Events are never sent again, but without its tree the receiver would be wrong until the next
// change. A newer tree that has come meanwhile holds this one.
void EventEmitter::oweTreeOf(Batch lost) {
    const std::lock_guard lock(batchMutex);
    if (!batch->tree) {
        batch->tree.swap(lost.tree);
    }
}

EventEmitter::Delivery EventEmitter::send(const Batch& gathered, BatchMessage& message,
                                          socket::Socket& socket) {
    try {
        message.mutable_events()->Add(gathered.events.begin(), gathered.events.end());
        if (!gathered.tree) {
            socket.sendProtoBuf(&message);
            return Delivery::Done;
        }
        withMessageOf(*gathered.tree, [&](std::string_view tree) {
            device_tree::ReverseWriter head;
            head.prependFieldHead(ServiceEventBatch::kDeviceTreeFieldNumber, tree.size());
            socket.sendParts({head.view(), tree, message.SerializeAsString()});
        });
        return Delivery::Done;
    } catch (const std::exception& e) {
        utils::logError(
            formatMessage("Failed sending events on " + socket.debugString() + ": " + e.what()));
        return Delivery::Failed;
    }
}

void EventEmitter::dropFromNowOn() {
    const std::lock_guard lock(batchMutex);
    batch.reset();
}

}  // namespace tarn::service
