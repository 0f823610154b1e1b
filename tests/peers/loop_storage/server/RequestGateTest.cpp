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

struct RequestGateTest : testing::Test {
    std::string refusal(Request::Type type, const ClientIdentity& client) {
        Request request;
        request.set_type(type);
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
