#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/socket/SocketListener.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/LogCapture.h"

namespace tarn::socket::test {

/// Keeps what it receives.
class ListenerRecorder : public utils::SocketListener {
  public:
    using Reaction = std::function<void(const std::string&, Socket&)>;

    explicit ListenerRecorder(Protocol protocol = Protocol::Pull)
        : SocketListener(protocol, "Recorder") {}
    ~ListenerRecorder() override {
        std::string error;
        stop(error);
    }

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override {
        return std::make_shared<Message>();
    }

    void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                       std::shared_ptr<Socket> socket) override {
        const auto text = dynamic_cast<const Message&>(*message).job_id();
        if (reaction) {
            reaction(text, *socket);
        }
        const std::lock_guard lock(mutex);
        texts.push_back(text);
        changed.notify_all();
    }

    /// The messages so far, once there are `count`.
    std::vector<std::string> waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::milliseconds(patienceMs),
                         [&] { return texts.size() >= count; });
        return texts;
    }

    void limitMessagesTo(std::uint32_t bytes) { maxMessageSize = bytes; }
    std::uint32_t messageLimit() const { return maxMessageSize; }
    std::list<SocketEndpoint>& endpoints() { return listenEndpoints(); }

    bool admits(std::string_view bytes) override { return !admission || admission(bytes); }

    Reaction reaction;
    Socket::Admits admission;

  private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> texts;
};

/// A listener, and verbs for it.
class ListenerFixture : public testing::Test {
  protected:
    void start(ListenerRecorder& listener) {
        EXPECT_TRUE(listener.start(error)) << error;
        EXPECT_EQ(error, "");
    }

    void add(ListenerRecorder& listener, const SocketEndpoint& endpoint) {
        EXPECT_TRUE(listener.addListenEndpoint(endpoint.toString(Protocol::None), error)) << error;
        EXPECT_EQ(error, "");
    }

    void remove(ListenerRecorder& listener, const SocketEndpoint& endpoint) {
        EXPECT_TRUE(listener.removeListenEndpoint(endpoint.toString(Protocol::None), error))
            << error;
        EXPECT_EQ(error, "");
    }

    std::unique_ptr<Socket> sender(const SocketEndpoint& endpoint) {
        return open(Protocol::Push, endpoint, patienceMs, ClosePolicy::Flush);
    }

    void start() { start(recorder); }
    void add(const SocketEndpoint& endpoint) { add(recorder, endpoint); }
    void remove(const SocketEndpoint& endpoint) { remove(recorder, endpoint); }

    tarn::test::LogCapture log;
    std::string error = "from before";
    ListenerRecorder recorder;
};

}  // namespace tarn::socket::test
