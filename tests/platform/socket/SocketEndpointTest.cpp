#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

namespace {

using testing::HasSubstr;

std::string errorOf(const std::string& text) {
    try {
        return "accepted as " + SocketEndpoint::FromString(text).toString(Protocol::None);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

}  // namespace

TEST(SocketEndpointTest, IpcNamesAreFilesUnderTmpOrAbsolutePaths) {
    const auto relative = SocketEndpoint::FromString("ipc:///tmp/requests");
    EXPECT_EQ(relative.transport(), Transport::Ipc);
    EXPECT_EQ(relative.host(), "requests");
    EXPECT_EQ(relative.port(), 0);
    EXPECT_EQ(relative.toString(Protocol::Reply), "ipc:///tmp/requests");

    const auto absolute = SocketEndpoint::FromString("ipc:///run/x.sock");
    EXPECT_EQ(absolute.host(), "/run/x.sock");
    EXPECT_EQ(absolute.toString(Protocol::Reply), "ipc:///run/x.sock");
}

TEST(SocketEndpointTest, OnePathHasOneName) {
    EXPECT_EQ(SocketEndpoint(Transport::Ipc, "/tmp/a", 0), SocketEndpoint(Transport::Ipc, "a", 0));
    EXPECT_EQ(SocketEndpoint::FromString("ipc:///tmp//a").toString(Protocol::None),
              "ipc:///tmp//a");
}

TEST(SocketEndpointTest, InProcessHasAName) {
    const auto endpoint = SocketEndpoint::FromString("inproc://DeviceEventListener");
    EXPECT_EQ(endpoint, SocketEndpoint(Transport::InProcess, "DeviceEventListener", 0));
    EXPECT_EQ(endpoint.toString(Protocol::Push), "inproc://DeviceEventListener");
}

TEST(SocketEndpointTest, TcpHasHostAndPort) {
    const auto endpoint = SocketEndpoint::FromString("tcp://server-1.example:65535");
    EXPECT_EQ(endpoint, SocketEndpoint(Transport::Tcp, "server-1.example", 65535));
    EXPECT_EQ(SocketEndpoint::FromString("tcp://[::1]:1"),
              SocketEndpoint(Transport::Tcp, "[::1]", 1));
}

TEST(SocketEndpointTest, OnlyRolesThatConnectRenderEveryInterfaceAsLocalhost) {
    const auto endpoint = SocketEndpoint::FromString("tcp://*:5000");
    for (const auto role : {Protocol::Push, Protocol::Request, Protocol::Subscribe}) {
        EXPECT_EQ(endpoint.toString(role), "tcp://localhost:5000");
    }
    for (const auto role : {Protocol::None, Protocol::Pull, Protocol::Reply, Protocol::Publish,
                            static_cast<Protocol>(99)}) {
        EXPECT_EQ(endpoint.toString(role), "tcp://*:5000");
    }
}

TEST(SocketEndpointTest, APeerOfEveryInterfaceIsOnLocalhost) {
    EXPECT_EQ(SocketEndpoint(Transport::Tcp, "*", 5000).asPeer(),
              SocketEndpoint(Transport::Tcp, "localhost", 5000));
    const SocketEndpoint other(Transport::Tcp, "192.0.2.1", 5000);
    EXPECT_EQ(other.asPeer(), other);
}

TEST(SocketEndpointTest, ADefaultEndpointIsIpcWithoutAName) {
    const SocketEndpoint endpoint;
    EXPECT_EQ(endpoint.transport(), Transport::Ipc);
    EXPECT_EQ(endpoint.host(), "");
    EXPECT_EQ(endpoint.port(), 0);
}

TEST(SocketEndpointTest, EndpointsDifferByEachPart) {
    const SocketEndpoint endpoint(Transport::Tcp, "a", 1);
    EXPECT_NE(endpoint, SocketEndpoint(Transport::InProcess, "a", 1));
    EXPECT_NE(endpoint, SocketEndpoint(Transport::Tcp, "b", 1));
    EXPECT_NE(endpoint, SocketEndpoint(Transport::Tcp, "a", 2));
}

TEST(SocketEndpointTest, BadTextIsRefusedAndNamed) {
    for (const std::string text : {"",
                                   "requests",
                                   "udp://host:1",
                                   "IPC:///tmp/x",
                                   "ipc:/tmp/x",
                                   " ipc:///tmp/x",
                                   "ipc://",
                                   "ipc:///",
                                   "ipc:///tmp/",
                                   "ipc://requests",
                                   "ipc://@abstract",
                                   "ipc://*",
                                   "inproc://",
                                   "tcp://",
                                   "tcp://host",
                                   "tcp://:1",
                                   "tcp://host:",
                                   "tcp://host:0",
                                   "tcp://host:65536",
                                   "tcp://host:99999999999999999999",
                                   "tcp://host:+1",
                                   "tcp://host: 1",
                                   "tcp://host:1 ",
                                   "tcp://host:-1",
                                   "tcp://host:0x10",
                                   "tcp://host:1.0",
                                   "tcp://ho st:1",
                                   "tcp://a/b:1",
                                   "tcp://a;b:1",
                                   "tcp://**:1",
                                   "tcp://::1:80",
                                   "tcp://[::1:80",
                                   "tcp://[]:80",
                                   "tcp://[host]:80",
                                   "tcp://[::1]80"}) {
        EXPECT_THAT(errorOf(text), HasSubstr("bad endpoint \"" + text + "\": "));
    }
}

TEST(SocketEndpointTest, ControlCharactersAreRefusedAndEscaped) {
    EXPECT_THAT(errorOf("ipc:///tmp/a\nb"), HasSubstr("\"ipc:///tmp/a\\nb\""));
    EXPECT_THAT(errorOf(std::string("inproc://a\0b", 12)), HasSubstr("\"inproc://a\\x00b\""));
    EXPECT_THAT(errorOf("tcp://host:1\x1b[2J"), HasSubstr("\\x1b[2J"));
    EXPECT_THAT(errorOf("ipc:///tmp/\x7f"), HasSubstr("\\x7f"));
}

TEST(SocketEndpointTest, TextThatIsTooLongIsRefusedWithAShortMessage) {
    for (const std::string scheme : {"ipc:///tmp/", "inproc://", "tcp://", "x://"}) {
        const auto error = errorOf(scheme + std::string(100000, 'a') + ":1");
        EXPECT_THAT(error, HasSubstr("bad endpoint \"" + scheme + "aaa"));
        EXPECT_LT(error.size(), 300U);
    }
}

TEST(SocketEndpointTest, AnIpcPathIsAsLongAsTheSystemAllows) {
    const auto path = "/tmp/" + std::string(102, 'a');
    EXPECT_EQ(SocketEndpoint::FromString("ipc://" + path).toString(Protocol::None),
              "ipc://" + path);
    EXPECT_THAT(errorOf("ipc://" + path + "a"), HasSubstr("at most 107 bytes"));
}

}  // namespace tarn::socket
