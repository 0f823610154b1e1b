// The built program, asked over both transports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

enum class Transport { Unix, Tcp };

struct ControlTest : testing::TestWithParam<Transport> {
    std::unique_ptr<StorageClient> connect() const {
        return GetParam() == Transport::Unix ? std::make_unique<StorageClient>(server.socketPath())
                                             : std::make_unique<StorageClient>(server.port());
    }
    // Tracks come and go by the thousand, and nothing is read in place.
    StorageProgram server{{"--capacity", "64M"}, Medium::Memory};
    const std::unique_ptr<StorageClient> client = connect();
};

INSTANTIATE_TEST_SUITE_P(Over, ControlTest, testing::Values(Transport::Unix, Transport::Tcp),
                         [](const auto& chosen) {
                             return chosen.param == Transport::Unix ? "Unix" : "Tcp";
                         });

TEST_P(ControlTest, TracksComeAndGo) {
    EXPECT_THAT(client->tracks(), IsEmpty());
    EXPECT_EQ(client->create(1'000'000), 0);
    EXPECT_EQ(client->create(2'000'000), 1);
    EXPECT_THAT(client->tracks(), ElementsAre(0, 1));
    EXPECT_EQ(client->size(1), 2'000'000);
    EXPECT_EQ(client->remaining(), (64 << 20) - 3'000'000);
    EXPECT_EQ(client->destroy(0), 0);
    EXPECT_THAT(client->tracks(), ElementsAre(1));
    EXPECT_EQ(client->size(0), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
    EXPECT_EQ(client->errorMessage(), "There is no track 0");
}

TEST_P(ControlTest, AnEmptyTrackHasNoBeginningAndNoEnd) {
    client->create(1000);
    EXPECT_EQ(client->beginning(0), -1);
    EXPECT_EQ(client->end(0), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_OK);
}

TEST_P(ControlTest, MoreThanRemainsIsRefused) {
    EXPECT_EQ(client->create(1ULL << 40U), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_NO_SPACE);
    EXPECT_THAT(client->errorMessage(), HasSubstr("remain"));
    EXPECT_EQ(client->create(0), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_ARGUMENT);
}

TEST_P(ControlTest, PropertiesAreKept) {
    client->create(1000);
    EXPECT_EQ(client->set(0, {{"b", "2"}, {"a", "1"}}), 0);
    EXPECT_EQ(client->set(0, {{"b", "3"}}), 0);
    EXPECT_THAT(client->properties(0), ElementsAre(Pair("a", "1"), Pair("b", "3")));
    EXPECT_EQ(client->remove(0, {"a"}), 0);
    EXPECT_THAT(client->properties(0), ElementsAre(Pair("b", "3")));
    EXPECT_EQ(client->remove(0, {"b", "nothing"}), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
    EXPECT_THAT(client->properties(0), ElementsAre(Pair("b", "3")));
}

TEST_P(ControlTest, NamesOfAHundredKilobytesAreRefusedAndTheConnectionServesOn) {
    client->create(1000);
    EXPECT_EQ(client->set(0, {{std::string(100'000, 'n'), "v"}}), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_LT(client->errorMessage().size(), 300U);
    EXPECT_EQ(client->set(0, {{"n", std::string(2'000'000, 'v')}}), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_EQ(client->set(0, {{"n", "v"}}), 0);
}

TEST_P(ControlTest, TicketsCountFromOneAndAreRemembered) {
    client->create(1000);
    client->resize(0, 2000);
    const auto other = connect();
    EXPECT_EQ(other->ticketState(1), TARN_STORAGE_TICKET_FINISHED);
    EXPECT_EQ(other->ticketState(2), TARN_STORAGE_TICKET_FINISHED);
    EXPECT_EQ(other->create(0), -1);
    EXPECT_EQ(other->ticketState(3), TARN_STORAGE_TICKET_FAILED);
    EXPECT_EQ(other->ticketState(4), -1);
    EXPECT_EQ(other->errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
}

TEST_P(ControlTest, AnOperationIsFollowedByItsTicketOnAnotherConnection) {
    client->create(1000);
    client->create(1000);
    client->resize(1, 3000);
    client->create(0);
    const auto other = connect();
    EXPECT_EQ(other->awaitTicket(2), 1);
    EXPECT_EQ(other->awaitTicket(3), 3000);
    EXPECT_EQ(other->awaitTicket(4), -1);
    EXPECT_EQ(other->errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_THAT(other->errorMessage(), HasSubstr("bytes, not 0"));
    EXPECT_EQ(other->awaitTicket(5), -1);
    EXPECT_EQ(other->errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
}

TEST_P(ControlTest, ATrackThatCannotBeOpenedSaysWhyAndCanOnlyBeDestroyed) {
    client->create(1000);
    client->create(2000);
    EXPECT_EQ(client->failure(1), "");
    EXPECT_EQ(server.stop(), 0);
    std::filesystem::remove(server.directory() / "track-1" / "index");
    server.start();
    const auto again = connect();
    EXPECT_THAT(again->tracks(), ElementsAre(0, 1));
    EXPECT_THAT(again->failure(1), HasSubstr("track-1/index: No such file or directory"));
    EXPECT_EQ(again->failure(0), "");
    EXPECT_EQ(again->size(1), 2000);
    EXPECT_EQ(again->end(1), -1);
    EXPECT_THAT(again->properties(1), IsEmpty());
    const auto reason = testing::AllOf(testing::StartsWith("Track 1 cannot be opened: "),
                                       HasSubstr("No such file or directory"));
    EXPECT_EQ(again->resize(1, 3000), -1);
    EXPECT_THAT(again->errorMessage(), reason);
    EXPECT_EQ(again->clear(1), -1);
    EXPECT_THAT(again->errorMessage(), reason);
    EXPECT_EQ(again->set(1, {{"a", "b"}}), -1);
    EXPECT_THAT(again->errorMessage(), reason);
    EXPECT_FALSE(connect()->beReader(1));
    const auto writer = connect();
    EXPECT_FALSE(writer->beWriter(1));
    EXPECT_EQ(writer->errorType(), TARN_STORAGE_ERROR_SERVER);
    EXPECT_THAT(writer->errorMessage(), reason);
    EXPECT_EQ(again->destroy(1), 0);
    EXPECT_THAT(again->tracks(), ElementsAre(0));
}

TEST_P(ControlTest, WorkersAreListedByNameWhileTheyAreThere) {
    client->create(1000);
    EXPECT_THAT(client->workers(), IsEmpty());
    {
        const auto writer = connect();
        ASSERT_TRUE(writer->beWriter(0, "camera 1"));
        const auto reader = connect();
        ASSERT_TRUE(reader->beReader(0, TARN_STORAGE_START_LIVE, 0, std::string(100'000, 'r')));
        EXPECT_THAT(client->workers(),
                    ElementsAre("writer 0 camera 1", "reader 0 " + std::string(20, 'r')));
    }
    EXPECT_TRUE(eventually([&] { return client->workers().empty(); }));
}

TEST_P(ControlTest, ATrackWithWorkersIsNeitherDestroyedNorResized) {
    client->create(1000);
    const auto reader = connect();
    ASSERT_TRUE(reader->beReader(0));
    EXPECT_EQ(client->destroy(0), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_IN_USE);
    EXPECT_EQ(client->errorMessage(), "Track 0 cannot be destroyed while 1 workers use it");
    EXPECT_EQ(client->resize(0, 2000), -1);
    EXPECT_EQ(client->errorType(), TARN_STORAGE_ERROR_IN_USE);
    EXPECT_THAT(client->tracks(), ElementsAre(0));
}

TEST_P(ControlTest, AResizeTellsTheSizeReached) {
    client->create(1000);
    {
        const auto writer = connect();
        writer->beWriter(0);
        writer->write(1, std::string(600, 'x'));
        ASSERT_EQ(writer->flush(), 0);
    }
    ASSERT_TRUE(eventually([&] { return client->resize(0, 2000) == 2000; }));
    EXPECT_EQ(client->resize(0, 100), 600);
    EXPECT_EQ(client->size(0), 600);
    EXPECT_EQ(client->clear(0), 0);
    EXPECT_EQ(client->resize(0, 100), 100);
}

TEST_P(ControlTest, AThousandTracks) {
    constexpr int many = 1000;
    for (int i = 0; i < many; ++i) {
        ASSERT_EQ(client->create(1000), i) << client->errorMessage();
    }
    const auto check = [&](StorageClient& asked) {
        const auto ids = asked.tracks();
        ASSERT_EQ(ids.size(), many);
        for (const auto id : ids) {
            ASSERT_EQ(asked.size(id), 1000);
        }
    };
    check(*client);
    EXPECT_EQ(server.stop(), 0);
    server.start();
    check(*connect());
}

}  // namespace
}  // namespace tarn::test
