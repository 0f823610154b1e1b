#pragma once

#include <functional>
#include <future>
#include <memory>
#include <string>

namespace google::protobuf {
class Message;
}

namespace tarn::test {

/// Stands for a launcher that has just been started: opens a setup endpoint, takes one request and
/// answers it, on a thread of its own. Waits at most 10 seconds for the request.
class FakeSetupPeer {
  public:
    /// `request` is filled with what arrives; `reply` is sent back, or nothing when it is null.
    /// Both are the caller's and must outlive the object.
    FakeSetupPeer(const std::string& endpoint, google::protobuf::Message& request,
                  const google::protobuf::Message* reply);
    ~FakeSetupPeer();

    /// Whether a request arrived; waits for the peer to be done.
    bool gotRequest();

  private:
    std::shared_future<bool> done;
};

}  // namespace tarn::test
