#include "platform/resource_manager/server/SocketBackend.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <thread>

#include "platform/os/WakeUp.h"
#include "proto/resource_manager.pb.h"
#include "tests/platform/resource_manager/Endpoints.h"
#include "tests/platform/resource_manager/TestJobs.h"

namespace tarn::resource_manager {

using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;
using test::refusalOf;
using testing::HasSubstr;

// A resource manager whose answers the test decides.
class SocketBackendsTest : public testing::Test {
  protected:
    void SetUp() override {
        startServer();
        backend = std::make_unique<SocketBackend>(
            endpoint, SocketBackend::Bounds{std::chrono::seconds(5), std::chrono::seconds(2)});
    }

    void startServer() { server.createAndConnect(tarn::socket::Protocol::Reply, endpoint, 0); }

    Request::Type receive() {
        Request request;
        server.receiveProtoBuf(&request, 1 << 20);
        return request.type();
    }

    void answer(Request::Type type, bool success, const std::string& error = {}) {
        Reply reply;
        reply.set_type(type);
        reply.set_success(success);
        reply.set_error_message(error);
        server.sendProtoBuf(&reply);
    }

    std::string errorOfClearing(const std::function<void()>& serving) {
        const std::jthread thread(serving);
        return refusalOf([&] { backend->clearDeadProcesses(); });
    }

    void expectThatTheNextRequestWorks() {
        EXPECT_EQ(errorOfClearing([&] {
                      EXPECT_EQ(receive(), Request::CLEAR_DEAD_PROCESSES);
                      answer(Request::CLEAR_DEAD_PROCESSES, true);
                  }),
                  "");
    }

    const tarn::socket::SocketEndpoint endpoint = test::freshIpcEndpoint();
    tarn::socket::Socket server{"test server", tarn::socket::ClosePolicy::Discard};
    std::unique_ptr<SocketBackend> backend;
};

TEST_F(SocketBackendsTest, FailWithTheReasonOfARefusal) {
    EXPECT_EQ(errorOfClearing([&] {
                  receive();
                  answer(Request::CLEAR_DEAD_PROCESSES, false, "not today");
              }),
              "not today");
    EXPECT_EQ(errorOfClearing([&] {
                  receive();
                  answer(Request::CLEAR_DEAD_PROCESSES, false);
              }),
              "The resource manager refused without a reason");
}

TEST_F(SocketBackendsTest, DoNotTakeTheAnswerToAnotherRequest) {
    EXPECT_EQ(errorOfClearing([&] {
                  receive();
                  answer(Request::GET_RUNNING_JOBS, true);
              }),
              "The resource manager answered another request");
    expectThatTheNextRequestWorks();
}

TEST_F(SocketBackendsTest, WorkAgainAfterARequestThatWasNotAnswered) {
    EXPECT_THAT(errorOfClearing([&] { receive(); }),
                HasSubstr("nothing was received within 2000 ms"));
    expectThatTheNextRequestWorks();
}

TEST_F(SocketBackendsTest, DeliverNothingOfAFailedRequestLater) {
    server.close();
    EXPECT_NE(refusalOf([&] { backend->registerJob(test::jobOfThisProcess("a")); }), "");
    startServer();
    expectThatTheNextRequestWorks();
}

TEST_F(SocketBackendsTest, TellOfEachLossOfTheConnectionAndOfNothingElse) {
    for (int life = 0; life < 2; ++life) {
        expectThatTheNextRequestWorks();
        EXPECT_FALSE(backend->awaitLoss(/*interruption=*/-1, std::chrono::milliseconds(1)));
        server.close();
        EXPECT_TRUE(backend->awaitLoss(/*interruption=*/-1, std::chrono::hours(1)));
        EXPECT_FALSE(backend->awaitLoss(/*interruption=*/-1, std::chrono::milliseconds(1)));
        startServer();
    }
}

TEST_F(SocketBackendsTest, AreWokenFromTheWaitForALoss) {
    os::WakeUp interruption;
    interruption.ring();
    EXPECT_FALSE(backend->awaitLoss(interruption.descriptor(), std::chrono::hours(1)));
}

TEST_F(SocketBackendsTest, FailToConnectInTimeWhereNobodyListens) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(refusalOf([] {
                    SocketBackend nobody(test::freshIpcEndpoint(),
                                         {std::chrono::milliseconds(100), std::chrono::seconds(5)});
                }),
                HasSubstr("Resource manager proxy"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

}  // namespace tarn::resource_manager
