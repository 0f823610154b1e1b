#pragma once

#include <atomic>
#include <thread>

#include "platform/os/DescriptorSet.h"
#include "platform/os/WakeUp.h"
#include "platform/socket/curve/AuthenticationMessage.h"
#include "platform/socket/curve/ProtectionState.h"
#include "platform/socket/zmq/ZmqSocket.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::socket {

/// Answers the messaging library, which asks at a fixed name inside the process whether who
/// connects may do so (its authentication protocol, version 1.0); and follows the changes of who
/// may. A thread of its own, which sleeps until there is something to do; the destructor ends it.
class TcpProtection::Authentication {
  public:
    /// Throws std::runtime_error, also when there is one in the process already.
    explicit Authentication(std::shared_ptr<State> state);
    ~Authentication();
    Authentication(const Authentication&) = delete;
    Authentication& operator=(const Authentication&) = delete;

  private:
    void run();
    void serve();
    void answerOne();
    void follow();
    bool mayConnect(const curve::Question& question) const;

    const std::shared_ptr<State> state;
    std::atomic<bool> mustStop = false;
    os::WakeUp stop;
    os::DescriptorSet otherInput;
    ZmqSocket questions;
    utils::RepeatedFailure refused{utils::LogLevel::Warning};
    utils::RepeatedFailure failed{utils::LogLevel::Error};
    std::thread thread;  // last: it uses the others
};

}  // namespace tarn::socket
