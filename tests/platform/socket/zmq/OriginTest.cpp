#include "platform/socket/zmq/Origin.h"

#include <gtest/gtest.h>

namespace tarn::socket {

namespace {

// As of a connection of which the library could note nothing.
Peer unnotedOn(std::optional<Transport> only) {
    zmq::message_t frame("x", 1);
    return Origin(frame).peer(only);
}

TEST(OriginTest, WithoutANoteItIsThisProcessWhereThatCanBe) {
    EXPECT_EQ(unnotedOn(Transport::InProcess).transport, Transport::InProcess);
    EXPECT_EQ(unnotedOn(std::nullopt).transport, Transport::InProcess);
}

TEST(OriginTest, WithoutANoteItIsSomebodyUnknownWhereOnlyOthersCome) {
    const auto overIpc = unnotedOn(Transport::Ipc);
    EXPECT_EQ(overIpc.transport, Transport::Ipc);
    EXPECT_FALSE(overIpc.user);
    const auto overTcp = unnotedOn(Transport::Tcp);
    EXPECT_EQ(overTcp.transport, Transport::Tcp);
    EXPECT_EQ(overTcp.key, "");
}

}  // namespace

}  // namespace tarn::socket
