#include "peers/loop_storage/server/RequestGate.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "peers/loop_storage/StorageError.h"
#include "proto/storage_wire.pb.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers::loop_storage {
namespace {

using access::Level;
using proto::storage_wire::Request;

const uid_t stranger = ::geteuid() + 61001;

ClientIdentity user(uid_t id) {
    return ClientIdentity::OfUser(
        os::PeerUser{.user = id, .group = id, .process = 1, .groups = {}});
}

ClientIdentity limited(const std::string& tracks, Level level = Level::Operate) {
    return ClientIdentity::OfCertificate({.level = level,
                                          .fingerprint = std::string(64, '1'),
                                          .name = "van",
                                          .tracks = access::TrackRights::Parse(tracks)});
}

struct RequestGateTest : testing::Test {
    std::string refusal(Request::Type type, const ClientIdentity& client,
                        const std::vector<std::int64_t>& tracks = {}) {
        Request request;
        request.set_type(type);
        for (const auto track : tracks) {
            request.add_track_id(track);
        }
        try {
            gate.check(request, client);
            return "";
        } catch (const StorageError& refused) {
            EXPECT_EQ(refused.type(), TARN_STORAGE_ERROR_ARGUMENT);
            return refused.what();
        }
    }
    static Level needed(Request::Type type) {
        Request request;
        request.set_type(type);
        return levelFor(request);
    }

    const test::LogCapture log;
    std::chrono::steady_clock::time_point now;
    RequestGate gate{[this] { return now; }};
};

TEST_F(RequestGateTest, LookingNeedsRead) {
    for (const auto type :
         {Request::REMAINING_SPACE, Request::LIST_WORKERS, Request::LIST_TRACKS,
          Request::DESCRIBE_TRACKS, Request::TICKET, Request::ATTACH_READER, Request::READ}) {
        EXPECT_EQ(needed(type), Level::Read) << Request::Type_Name(type);
    }
}

TEST_F(RequestGateTest, ChangingWhatATrackHoldsNeedsOperate) {
    for (const auto type : {Request::SET_PROPERTIES, Request::REMOVE_PROPERTIES,
                            Request::ATTACH_WRITER, Request::WRITE, Request::FLUSH}) {
        EXPECT_EQ(needed(type), Level::Operate) << Request::Type_Name(type);
    }
}

TEST_F(RequestGateTest, WhatCostsTracksOrWorkersNeedsAdmin) {
    for (const auto type : {Request::CREATE_TRACK, Request::RESIZE_TRACK, Request::DESTROY_TRACK,
                            Request::CLEAR_TRACK, Request::EVICT_WORKER}) {
        EXPECT_EQ(needed(type), Level::Admin) << Request::Type_Name(type);
    }
}

TEST_F(RequestGateTest, NoRequestNeedsNothing) {
    for (int type = Request::Type_MIN; type <= Request::Type_MAX; ++type) {
        if (Request::Type_IsValid(type)) {
            EXPECT_GE(needed(static_cast<Request::Type>(type)), Level::Read) << type;
        }
    }
}

TEST_F(RequestGateTest, RootTheOwnUserAndTcpWithoutCertificatesMayAll) {
    for (const auto& client : {user(0), user(::geteuid()), ClientIdentity::Anybody()}) {
        EXPECT_EQ(refusal(Request::DESTROY_TRACK, client), "") << client.name();
    }
}

TEST_F(RequestGateTest, AStrangerIsToldWhatIsNeeded) {
    EXPECT_EQ(refusal(Request::LIST_TRACKS, user(stranger)),
              "Access denied: this needs the level read, and user " + std::to_string(stranger) +
                  " has none");
}

TEST_F(RequestGateTest, WhoIsNotKnownMayNothing) {
    EXPECT_EQ(refusal(Request::LIST_TRACKS, ClientIdentity::OfUser(std::nullopt)),
              "Access denied: this needs the level read, and who asks has none");
}

TEST_F(RequestGateTest, WhoHasTracksUsesThoseAsTheyAreListed) {
    const auto van = limited("0:read,7:write");
    const auto denied = [](const std::string& use, int track) {
        return "Access denied: client van may not " + use + " track " + std::to_string(track);
    };
    EXPECT_EQ(refusal(Request::DESCRIBE_TRACKS, van, {0, 7}), "");
    EXPECT_EQ(refusal(Request::DESCRIBE_TRACKS, van, {0, 3}), denied("read", 3));
    EXPECT_EQ(refusal(Request::ATTACH_READER, van, {0}), "");
    EXPECT_EQ(refusal(Request::ATTACH_READER, van, {3}), denied("read", 3));
    for (const auto type :
         {Request::ATTACH_WRITER, Request::SET_PROPERTIES, Request::REMOVE_PROPERTIES}) {
        EXPECT_EQ(refusal(type, van, {7}), "") << Request::Type_Name(type);
        EXPECT_EQ(refusal(type, van, {0}), denied("write", 0)) << Request::Type_Name(type);
    }
    EXPECT_EQ(refusal(Request::REMAINING_SPACE, van), "");
}

TEST_F(RequestGateTest, ARightToATrackGivesNoLevel) {
    EXPECT_THAT(refusal(Request::ATTACH_WRITER, limited("7:write", Level::Read), {7}),
                testing::HasSubstr("needs the level operate, and client van has read"));
    EXPECT_THAT(refusal(Request::CLEAR_TRACK, limited("7:write"), {7}),
                testing::HasSubstr("needs the level admin"));
}

TEST_F(RequestGateTest, ListsAreWithoutTheTracksOfOthers) {
    proto::storage_wire::Answer answer;
    for (const auto id : {0, 3, 7}) {
        answer.add_track_id(id);
        answer.add_worker()->set_track_id(id);
    }
    const auto seen = visibleTo(limited("0:read,7:write"), answer);
    EXPECT_THAT(seen.track_id(), testing::ElementsAre(0, 7));
    ASSERT_EQ(seen.worker_size(), 2);
    EXPECT_EQ(seen.worker(0).track_id(), 0);
    EXPECT_EQ(seen.worker(1).track_id(), 7);
    EXPECT_EQ(visibleTo(ClientIdentity::Anybody(), answer).track_id_size(), 3);
}

TEST_F(RequestGateTest, RefusalsAreLoggedOnceASecond) {
    for (int i = 0; i < 100; ++i) {
        refusal(Request::CLEAR_TRACK, user(stranger));
    }
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.contains("CLEAR_TRACK: Access denied: this needs the level admin"));
    now += std::chrono::seconds(2);
    refusal(Request::CLEAR_TRACK, user(stranger));
    EXPECT_TRUE(log.contains("(and 99 times before, not logged)"));
}

}  // namespace
}  // namespace tarn::peers::loop_storage
