#include "peers/job_runtime/supervision/CommandServer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/socket/Socket.h"
#include "tests/peers/support/JobClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

namespace fs = std::filesystem;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using Wish = StopRequest::Wish;
using End = test::JobClient::End;

struct CommandServerTest : testing::Test {
    CommandServerTest() {
        status.update([](JobStatus::Reply& reply) {
            reply.set_restarts(2);
            reply.set_persistent(true);
        });
        persistence.keep();
    }

    JobSetup persistentSetup() const {
        JobSetup setup;
        setup.persistentFile = file;
        setup.persistentContent = "content";
        return setup;
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    const std::string file = (folder.path() / "jobs" / "file").string();
    const bool made = fs::create_directory(folder.path() / "jobs");
    const JobSetup setup = persistentSetup();
    JobStatus status;
    StopRequest stop;
    Persistence persistence{setup};
    const std::string endpoint = "ipc://" + (folder.path() / "commands").string();
    CommandServer server{tarn::socket::SocketEndpoint::FromString(endpoint), access::Owner(),
                         status, stop, persistence};
    const test::JobClient client{endpoint};
};

TEST_F(CommandServerTest, TellsTheStatus) {
    const auto reply = client.command(ApiToJobRequest::STATUS);
    EXPECT_EQ(reply.type(), JobToApiReply::STATUS);
    EXPECT_TRUE(reply.success());
    EXPECT_EQ(client.status().restarts(), 2U);
    EXPECT_EQ(stop.wish(), Wish::None);
}

TEST_F(CommandServerTest, AnEndUntilTheNextStartLeavesTheFile) {
    const auto reply = client.destroy(End::UntilNextStart);
    EXPECT_EQ(reply.type(), JobToApiReply::DESTROY);
    EXPECT_TRUE(reply.success());
    EXPECT_EQ(stop.wish(), Wish::EndNow);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(client.status().persistent());
    EXPECT_TRUE(log.has("INFO Asked to end"));
}

TEST_F(CommandServerTest, AnEndForGoodIsAnsweredOnceTheFileIsGone) {
    const auto reply = client.destroy(End::ForGood);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(reply.type(), JobToApiReply::DESTROY);
    EXPECT_TRUE(reply.success());
    EXPECT_EQ(stop.wish(), Wish::EndForGood);
    EXPECT_FALSE(client.status().persistent());
    EXPECT_TRUE(log.has("INFO Asked to end for good"));
}

TEST_F(CommandServerTest, AFileThatCannotBeRemovedIsARefusalAndTheJobGoesOn) {
    fs::remove(file);
    fs::create_directory(file);
    folder.write("jobs/file/in the way", "");
    const auto reply = client.destroy(End::ForGood);
    EXPECT_EQ(reply.type(), JobToApiReply::ERROR);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "The persistent file cannot be removed");
    EXPECT_EQ(stop.wish(), Wish::None);
    EXPECT_TRUE(client.status().persistent());
    EXPECT_TRUE(log.contains("ERROR Cannot remove the persistent file: "));
}

TEST_F(CommandServerTest, AnUnknownCommandIsAnErrorWithItsReason) {
    const auto reply = client.command(ApiToJobRequest::UNKNOWN);
    EXPECT_EQ(reply.type(), JobToApiReply::ERROR);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "Unknown type of request");
    EXPECT_EQ(stop.wish(), Wish::None);
}

TEST_F(CommandServerTest, WhatIsNoCommandIsLoggedAndTheNextOneIsServed) {
    tarn::socket::Socket hostile("hostile", tarn::socket::ClosePolicy::Flush);
    hostile.createAndConnect(tarn::socket::Protocol::Request,
                             tarn::socket::SocketEndpoint::FromString(endpoint), 5000);
    hostile.sendBytes(std::string(65537, 'x'));
    EXPECT_TRUE(log.waitFor("WARN Command not served: "));
    EXPECT_EQ(client.status().restarts(), 2U);
}

}  // namespace
}  // namespace tarn::peers
