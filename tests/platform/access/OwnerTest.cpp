#include "platform/access/Owner.h"

#include <gtest/gtest.h>

#include "proto/job_monitoring.pb.h"

namespace tarn::access {

namespace {

using socket::Peer;
using socket::Transport;

Peer userOf(uid_t user) {
    return {.transport = Transport::Ipc,
            .user = os::PeerUser{.user = user, .group = 0, .process = 1, .groups = {}},
            .key = {},
            .address = {}};
}

Peer keyOf(const std::string& key) {
    return {.transport = Transport::Tcp, .user = {}, .key = key, .address = "127.0.0.1"};
}

TEST(OwnerTest, IsWhoSubmitted) {
    EXPECT_TRUE(Owner(userOf(61001)).is(userOf(61001)));
    EXPECT_FALSE(Owner(userOf(61001)).is(userOf(61002)));
    EXPECT_TRUE(Owner(userOf(0)).is(userOf(0)));
    EXPECT_TRUE(Owner(keyOf("one")).is(keyOf("one")));
    EXPECT_FALSE(Owner(keyOf("one")).is(keyOf("other")));
    EXPECT_FALSE(Owner(keyOf("one")).is(userOf(0)));
}

TEST(OwnerTest, NobodysIsNobodysOwn) {
    const Owner nobody{Peer{}};
    EXPECT_TRUE(nobody.isNobody());
    EXPECT_FALSE(nobody.is(Peer{}));
    EXPECT_FALSE(nobody.is(userOf(0)));
    EXPECT_FALSE(nobody.is(keyOf("")));
}

TEST(OwnerTest, ComesBackFromItsMessage) {
    EXPECT_TRUE(Owner(Owner(userOf(0)).toProtoBuf()).is(userOf(0)));
    EXPECT_TRUE(Owner(Owner(keyOf("one")).toProtoBuf()).is(keyOf("one")));
    EXPECT_TRUE(Owner(Owner().toProtoBuf()).isNobody());
}

}  // namespace

}  // namespace tarn::access
