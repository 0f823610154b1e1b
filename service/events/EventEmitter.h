#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "platform/device_tree/TreeSerialiser.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Synchronised.h"
#include "proto/service_event.fwd.h"

namespace tarn::device_tree {
class DeviceNode;
}
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
/// loses a batch, which is logged. The events of that one are never sent again; its tree, or a
/// newer one, goes out as soon as something is taken again. Batches are numbered as they are made,
/// so that the receiver can tell that some are missing.
///
/// Every operation may be called from any thread and throws nothing for a failure of the
/// connection.
class EventEmitter : public tarn::utils::MessageFormatter {
  public:
    /// Throws std::runtime_error when the kernel gives no random bytes.
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

    /// Calls `take` with the message of `tree`, serialised; the bytes are gone when it returns.
    /// They are those that are kept for the batches: only what has changed since then is made anew.
    /// Nobody else can have them meanwhile: `take` copies or sends them, and must not wait.
    void withMessageOf(const device_tree::DeviceNode& tree,
                       const std::function<void(std::string_view)>& take);

  private:
    struct Batch;
    using BatchMessage = tarn::proto::service_event::ServiceEventBatch;
    enum class Room { Unknown, None };
    enum class Delivery { Done, Failed };

    void emitterThreadFunction(const socket::SocketEndpoint& endpoint);
    bool connect(socket::Socket& socket, const socket::SocketEndpoint& endpoint);
    void sendBatches(socket::Socket& socket);
    void awaitOccasion();
    static Room awaitRoom(socket::Socket& socket);
    Batch takeBatch();
    void oweTreeOf(Batch lost);
    Delivery send(const Batch& batch, BatchMessage& message, socket::Socket& socket);
    void dropFromNowOn();

    const std::chrono::milliseconds period;
    const std::string instance;  // tells these batches from those of another start
    std::atomic<bool> stopFlag{false};

    std::mutex threadMutex;
    std::shared_ptr<std::thread> thread;  // guarded by threadMutex

    // Held neither while a batch is made into a message nor while that is sent: whoever pushes
    // would wait for the receiver.
    std::mutex batchMutex;
    std::unique_ptr<Batch> batch;  // guarded by batchMutex; null once nothing will be sent any more
    std::condition_variable wakeUp;

    utils::Synchronised<device_tree::TreeSerialiser> serialiser;  // no other lock is held with it
};

/// The process's emitter; created on first use, destroyed at exit.
EventEmitter& GetEventEmitter();

void StartEventEmitter(const socket::SocketEndpoint& endpoint);
void StopEventEmitter();

}  // namespace tarn::service
