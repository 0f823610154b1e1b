#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::socket {
class Socket;
}

namespace tarn::test {

/// A device that speaks the monitoring protocol from a thread of its own, as well as it is told to.
/// It comes to life with begin. All operations may be called while it runs.
class FakeDevice {
  public:
    using Request = proto::monitoring::TarnServiceToDeviceRequest;
    enum class Answer { Good, WrongType, Refusal, Silence };

    explicit FakeDevice(device_tree::DeviceNode node);
    ~FakeDevice();  ///< dies

    const std::string& endpoint() const { return address; }

    void begin();  ///< it can be reached when this returns
    void die();

    void describeAs(device_tree::DeviceNode node);
    /// The endpoint that the description names for events; empty for none.
    void nameEventEndpoint(const std::string& endpoint);
    void answerWith(Answer answer);

    /// The device keeps what it is asked to itself, until `release`.
    void hold();
    void release();

    /// The types of the requests so far, once there are `count` in all. Throws when they do not
    /// come within the bound.
    std::vector<Request::Type> waitForRequests(std::size_t count);

    /// The last request.
    Request lastRequest();

  private:
    void run(socket::Socket& socket, const std::stop_token& stop);
    void answerTo(const Request& request, proto::monitoring::DeviceToTarnServiceReply& reply) const;

    const std::string address;

    std::mutex mutex;
    std::condition_variable_any changed;
    // Guarded by mutex:
    device_tree::DeviceNode node;
    std::string eventEndpoint;
    Answer answer = Answer::Good;
    bool holding = false;
    std::vector<Request> requests;

    std::jthread thread;
};

}  // namespace tarn::test
