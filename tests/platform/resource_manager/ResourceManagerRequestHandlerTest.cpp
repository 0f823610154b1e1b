#include "platform/resource_manager/ResourceManagerRequestHandler.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <chrono>
#include <optional>

#include "platform/resource_manager/RegistryFolder.h"
#include "platform/resource_manager/registry/RegistryFile.h"
#include "platform/resource_manager/server/LocalBackend.h"
#include "platform/resource_manager/server/ServedRegistry.h"
#include "platform/resource_manager/server/SocketBackend.h"
#include "platform/socket/Socket.h"
#include "proto/resource_manager.pb.h"
#include "tests/platform/resource_manager/Endpoints.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;
using test::idsOf;
using test::jobOfThisProcess;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RequestHandlersTest : public testing::Test {
  protected:
    tarn::test::LogCapture log;
    tarn::test::TemporaryFolder folder;
    const tarn::socket::SocketEndpoint endpoint = test::freshIpcEndpoint();
    ResourceManagerRequestHandler handler{folder.path().string()};
};

TEST_F(RequestHandlersTest, FindTheJobsOfTheServiceBefore) {
    ASSERT_TRUE(handler.start(endpoint));
    LocalBackend(endpoint).registerJob(jobOfThisProcess("a", {"tcp://h:1"}));
    LocalBackend(endpoint).setDeltacastConfiguration({"rgb24", "1 ", "0 ", 720, "p", 50});
    handler.terminate();
    ResourceManagerRequestHandler next(folder.path().string());
    ASSERT_TRUE(next.start(endpoint));
    EXPECT_THAT(idsOf(SocketBackend(endpoint).runningJobs()), ElementsAre("a"));
    EXPECT_EQ(LocalBackend(endpoint).deltacastConfiguration().getLineCount(), 720U);
}

TEST_F(RequestHandlersTest, ForgetJobsThatDiedWhileThereWasNoService) {
    const auto store = RegistryFolder(folder.path().string())
                           .open(endpoint.toString(tarn::socket::Protocol::None))
                           .store;
    store->replace(
        {.jobs = {test::deadJob("dead"), jobOfThisProcess("alive")}, .deltacastConfiguration = {}});
    ASSERT_TRUE(handler.start(endpoint));
    EXPECT_THAT(idsOf(LocalBackend(endpoint).runningJobs()), ElementsAre("alive"));
    EXPECT_TRUE(log.contains("INFO ResourceManager > Removed job dead"));
}

TEST_F(RequestHandlersTest, KeepTheJobsOfEachEndpointApart) {
    ASSERT_TRUE(handler.start(endpoint));
    LocalBackend(endpoint).registerJob(jobOfThisProcess("a"));
    const auto other = test::freshIpcEndpoint();
    ASSERT_TRUE(handler.start(other));
    EXPECT_THAT(LocalBackend(other).runningJobs(), IsEmpty());
    EXPECT_THAT(test::refusalOf([&] { LocalBackend(endpoint).runningJobs(); }),
                HasSubstr("has terminated"));
}

TEST_F(RequestHandlersTest, DoNotStartWhereAnotherServiceListens) {
    ASSERT_TRUE(handler.start(endpoint));
    LocalBackend(endpoint).registerJob(jobOfThisProcess("a"));
    ResourceManagerRequestHandler second(folder.path().string());
    EXPECT_FALSE(second.start(endpoint));
    EXPECT_FALSE(second.refuseRegistrations());
    EXPECT_TRUE(handler.refuseRegistrations());
    EXPECT_TRUE(log.contains("ERROR ResourceManager > Failed starting the resource manager: "));
    EXPECT_TRUE(log.contains(endpoint.toString(tarn::socket::Protocol::None)));
    EXPECT_THAT(idsOf(LocalBackend(endpoint).runningJobs()), ElementsAre("a"));
    EXPECT_THAT(idsOf(SocketBackend(endpoint).runningJobs()), ElementsAre("a"));
}

TEST_F(RequestHandlersTest, DoNotStartOnAnImpossibleEndpoint) {
    EXPECT_FALSE(handler.start(tarn::socket::SocketEndpoint()));
    EXPECT_FALSE(handler.start(
        {tarn::socket::Transport::Ipc, (folder.path() / "missing" / "x").string(), 0}));
    handler.refuseRegistrations();
    handler.terminate();
}

TEST_F(RequestHandlersTest, GoOnInMemoryWhereNoFileCanBeWritten) {
    ResourceManagerRequestHandler forgetful(folder.write("file", ""));
    ASSERT_TRUE(forgetful.start(endpoint));
    EXPECT_TRUE(log.contains("ERROR ResourceManager > Cannot keep the registry in"));
    LocalBackend(endpoint).registerJob(jobOfThisProcess("a"));
    EXPECT_THAT(idsOf(LocalBackend(endpoint).runningJobs()), ElementsAre("a"));
}

// The look that every job takes after its entry finds what is missing on the disk, too.
TEST_F(RequestHandlersTest, StoreWhatTheyCouldNotWhenSomebodyAsksAgain) {
    ASSERT_TRUE(handler.start(endpoint));
    const auto file = RegistryFolder(folder.path().string())
                          .pathFor(endpoint.toString(tarn::socket::Protocol::None));
    SQLite::Database other(file, SQLite::OPEN_READWRITE);
    std::optional<SQLite::Transaction> held(std::in_place, other,
                                            SQLite::TransactionBehavior::EXCLUSIVE);
    SocketBackend job(endpoint);
    job.registerJob(jobOfThisProcess("a"));
    EXPECT_TRUE(log.contains("ERROR ResourceManager > Cannot store a change of the registry: "));
    held.reset();
    EXPECT_TRUE(tarn::test::eventually([&] {
        job.runningJobWithUuid("a");
        return log.contains("The registry is stored again");
    }));
    EXPECT_THAT(idsOf(RegistryFile(file).load().jobs), ElementsAre("a"));
}

TEST_F(RequestHandlersTest, ListenOnEveryInterfaceWhenToldSo) {
    const auto everywhere = test::freshTcpEndpoint();
    ASSERT_EQ(everywhere.host(), "*");
    ASSERT_TRUE(handler.start(everywhere));
    SocketBackend(everywhere.asPeer()).registerJob(jobOfThisProcess("a"));
    EXPECT_NE(ServedRegistry::find(everywhere), nullptr);
    EXPECT_NE(ServedRegistry::find(everywhere.asPeer()), nullptr);
    EXPECT_THAT(idsOf(LocalBackend(everywhere.asPeer()).runningJobs()), ElementsAre("a"));
}

TEST_F(RequestHandlersTest, CanBeTerminatedAtAnyTime) {
    handler.terminate();
    ASSERT_TRUE(handler.start(endpoint));
    handler.terminate();
    handler.terminate();
    EXPECT_EQ(ServedRegistry::find(endpoint), nullptr);
    ASSERT_TRUE(handler.start(endpoint));
    EXPECT_THAT(SocketBackend(endpoint).runningJobs(), IsEmpty());
}

TEST_F(RequestHandlersTest, AcceptRegistrationsAgainAfterANewStart) {
    ASSERT_TRUE(handler.start(endpoint));
    handler.refuseRegistrations();
    ASSERT_TRUE(handler.start(endpoint));
    LocalBackend(endpoint).registerJob(jobOfThisProcess("a"));
}

class BadRequestsTest : public RequestHandlersTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(handler.start(endpoint));
        client.createAndConnect(tarn::socket::Protocol::Request, endpoint, 2000);
    }

    template <typename Message>
    Reply ask(const Message& message) {
        client.sendProtoBuf(&message);
        Reply reply;
        client.receiveProtoBuf(&reply, 1 << 20);
        return reply;
    }

    void expectThatTheNextRequestIsServed() {
        Request request;
        request.set_type(Request::GET_RUNNING_JOBS);
        EXPECT_TRUE(ask(request).success());
    }

    tarn::socket::Socket client{"test client", tarn::socket::ClosePolicy::Discard};
};

TEST_F(BadRequestsTest, AreAnsweredWithTheReason) {
    const auto reply = ask(Request());
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "Unknown type of request to the resource manager");
    expectThatTheNextRequestIsServed();
}

TEST_F(BadRequestsTest, AreLoggedAndDroppedWhenTheyAreNoMessages) {
    tarn::proto::job_monitoring::JobDescription garbage;  // its name where a job should be
    garbage.set_job_id("\x07\x07\x07");
    client.sendProtoBuf(&garbage);
    ASSERT_TRUE(log.waitFor("WARN ResourceManager > Resource manager on "));
    expectThatTheNextRequestIsServed();
}

TEST_F(BadRequestsTest, AreLoggedAndDroppedWhenTheyAreTooLarge) {
    Request request;
    request.set_job_id(std::string(17 << 20, 'x'));
    client.sendProtoBuf(&request);
    ASSERT_TRUE(log.waitFor("WARN ResourceManager > Resource manager on "));
    expectThatTheNextRequestIsServed();
}

TEST_F(BadRequestsTest, MayComeFromClientsThatDoNotWaitForTheAnswer) {
    Request request;
    request.set_type(Request::GET_RUNNING_JOBS);
    for (int i = 0; i < 20; ++i) {
        client.sendProtoBuf(&request);
        client.connect(endpoint, 2000);
    }
    expectThatTheNextRequestIsServed();
}

}  // namespace tarn::resource_manager
