#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/MessageFormatter.h"

namespace tarn::proto::service_event {
class ServiceEvent;
}
namespace tarn::device_tree {
class DeviceNode;
class TreeSerialiser;
}  // namespace tarn::device_tree
namespace tarn::socket {
class Socket;
}

namespace tarn::service {

/// Publishes the device tree: its own thread sends what has gathered as one batch, once a period at
/// the latest and at once when asked to.
///
///     NotStarted --startThread--> Running --stopThread, or nobody at the endpoint--> Ended
///
/// What is pushed before the start goes out with the first batch; what is pushed after the end is
/// dropped. An emitter that has ended does not start again.
///
/// A receiver that is behind gets fewer and larger batches. One that takes nothing for a second
/// loses a batch, which is logged; it is never sent again.
///
/// Every operation may be called from any thread and throws nothing for a failure of the
/// connection.
class EventEmitter : public tarn::utils::MessageFormatter {
  public:
    explicit EventEmitter(std::chrono::milliseconds period = std::chrono::seconds(1));
    ~EventEmitter() override;  ///< stops

    /// Starts the thread, which connects to `endpoint`. Does nothing when it was started before.
    void startThread(const socket::SocketEndpoint& endpoint);

    /// Ends the thread and joins it: at once, but for an attempt to connect, or a receiver that is
    /// behind (one second at most).
    void stopThread();

    /// Takes a snapshot of `tree` in place of the one before, appends a copy of `event` unless it
    /// is null, and with `notify` has them sent at once. Costs the same for every size of tree.
    void pushEvent(const device_tree::DeviceNode& tree,
                   const tarn::proto::service_event::ServiceEvent* event, bool notify);

  private:
    struct Batch;

    void emitterThreadFunction(const socket::SocketEndpoint& endpoint);
    bool connect(socket::Socket& socket, const socket::SocketEndpoint& endpoint);
    void awaitOccasion();
    static void awaitRoom(socket::Socket& socket);
    Batch takeBatch();
    void send(const Batch& batch, device_tree::TreeSerialiser& serialiser, socket::Socket& socket);
    void dropFromNowOn();

    const std::chrono::milliseconds period;
    std::atomic<bool> stopFlag{false};

    std::mutex threadMutex;
    std::shared_ptr<std::thread> thread;  // guarded by threadMutex

    // Held neither while a batch is made into a message nor while that is sent: whoever pushes
    // would wait for the receiver.
    std::mutex batchMutex;
    std::unique_ptr<Batch> batch;  // guarded by batchMutex; null once nothing will be sent any more
    std::condition_variable wakeUp;
};

/// The process's emitter; created on first use, destroyed at exit.
EventEmitter& GetEventEmitter();

void StartEventEmitter(const socket::SocketEndpoint& endpoint);
void StopEventEmitter();

}  // namespace tarn::service
