#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <iostream>

#include "platform/os/FileDescriptor.h"
#include "proto/api_job.pb.h"
#include "tests/support/Eventually.h"
#include "tests/support/OtherUser.h"
#include "tests/system/harness/RawSocket.h"
#include "tests/system/security/TcpKeysTest.h"

// Who comes over TCP with the wrong key, with one that may too little, or with one of the past.
namespace tarn::test {

namespace {

using testing::HasSubstr;

constexpr auto devicePort = "tcp://127.0.0.1:20210";

class KeyAttacksTest : public TcpKeysTest {
  protected:
    static void expectRefused(const std::string& act, bool isRefused) {
        std::cout << (isRefused ? "refused: " : "DONE: ") << act << "\n";
        EXPECT_TRUE(isRefused) << act;
    }

    static void expectDenied(const std::string& act, const ProcessResult& run,
                             const std::string& needed) {
        EXPECT_THAT(run.err, HasSubstr("Access denied: this needs the level " + needed)) << act;
        expectRefused(act, run.exitStatus == 1);
    }

    static ProcessResult submitsEngine(const std::string& name) {
        return as(name, {"engines", "submit", "--json", "--name", "mixer", "--settings", endless});
    }

    /// What is answered to who asks an engine, or a job, to end.
    static proto::api_job::JobToApiReply ends(const std::string& name,
                                              const std::string& commands) {
        const auto protection = protectionOf(name);
        Socket commanding(name, socket::ClosePolicy::Discard);
        commanding.protectBy(protection);
        EXPECT_TRUE(connects(commanding, Protocol::Request, commands)) << name;
        proto::api_job::ApiToJobRequest end;
        end.set_type(proto::api_job::ApiToJobRequest::DESTROY);
        end.MutableExtension(proto::api_job::ApiToJobRequestDestroy::base)
            ->set_destroy_option(true);
        commanding.sendProtoBuf(&end);
        std::string error;
        EXPECT_EQ(commanding.poll(10000, error), 0) << error;
        proto::api_job::JobToApiReply reply;
        commanding.receiveProtoBuf(&reply, 1U << 20U);
        return reply;
    }

    bool isServedStill() { return as("studio", {"info"}).exitStatus == 0; }

    /// Bytes of a connection that is then left as it is.
    static os::FileDescriptor say(const std::string& bytes) {
        os::FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(20100);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const void* const generic = &address;
        EXPECT_EQ(
            ::connect(connection.get(), static_cast<const sockaddr*>(generic), sizeof address), 0);
        ::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return connection;
    }
};

TEST_F(KeyAttacksTest, ALowKeyGetsWhatItsLevelIs) {
    addClient("studio", "operate");
    addClient("watcher", "read");
    addClient("boss", "admin");
    startWithKeys();
    const auto job = submitAs("boss");
    ASSERT_TRUE(eventually([&] { return as("boss", {"jobs", "show", job.id}).exitStatus == 0; }));
    expectDenied("a key that reads submits a job",
                 as("watcher", {"jobs", "submit", "--pipeline", endless}), "operate");
    expectDenied("a key that reads ends a job", as("watcher", {"jobs", "stop", job.id}), "admin");
    expectDenied("a key that operates ends another's job", as("studio", {"jobs", "stop", job.id}),
                 "admin");
    expectDenied("a key that operates starts an engine", submitsEngine("studio"), "admin");
    expectDenied("a key that operates keeps a job for the next start",
                 as("studio", {"jobs", "submit", "--persistent", "--pipeline", endless}), "admin");
    removeClient("studio");
    const auto added = tarnctl({"keys", "add", "studio", keyFile("studio") + ".pub", "--level",
                                "read", "--file", clientKeys});
    ASSERT_EQ(added.exitStatus, 0) << added.err;
    EXPECT_TRUE(eventually([&] {
        return as("studio", {"jobs", "submit", "--pipeline", endless})
                   .err.find("needs the level operate") != std::string::npos;
    }));
    expectRefused("a key that was lowered submits a job", isServedStill());
    EXPECT_EQ(as("boss", {"jobs", "stop", job.id}).exitStatus, 0);
}

TEST_F(KeyAttacksTest, AnEngineIsNotForLowKeys) {
    addClient("studio", "operate");
    addClient("watcher", "read");
    addClient("boss", "admin");
    generate("stranger");
    startWithKeys();
    const auto submitted = submitsEngine("boss");
    ASSERT_EQ(submitted.exitStatus, 0) << submitted.err;
    const auto engine = nlohmann::json::parse(submitted.out, nullptr, /*allow_exceptions=*/false);
    const std::string commands = engine.value("first_engine_endpoint", "");
    const std::string events = engine.value("second_engine_endpoint", "");
    ASSERT_TRUE(eventually([&] { return connects("boss", Protocol::Request, commands); }))
        << commands;
    expectRefused("an unknown key commands an engine",
                  !connects("stranger", Protocol::Request, commands));
    expectRefused("no key commands an engine", !connectsWithoutKey(Protocol::Request, commands));
    expectRefused("an unknown key follows an engine",
                  !connects("stranger", Protocol::Subscribe, events));
    expectRefused("no key follows an engine", !connectsWithoutKey(Protocol::Subscribe, events));
    for (const auto* const low : {"watcher", "studio"}) {
        const auto reply = ends(low, commands);
        EXPECT_THAT(reply.error_message(), HasSubstr("Access denied"));
        expectRefused(std::string("the key of ") + low + " ends an engine", !reply.success());
    }
    EXPECT_TRUE(ends("boss", commands).success());
}

TEST_F(KeyAttacksTest, ADeviceIsNobodysButTheMachines) {
    addClient("studio", "operate");
    addClient("watcher", "read");
    generate("stranger");
    const std::vector<std::string> device{hostMonitorProgram, "--endpoint", devicePort,
                                          "--poll-only",      "--key-file", keyFile("server"),
                                          "--client-keys",    clientKeys};
    const std::string section =
        std::string("<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>") + devicePort +
        "</MonitoringInterface></TarnProtocolDevice>";
    const auto isShown = [&] {
        return as("watcher", {"devices"}).out.find("Host") != std::string::npos;
    };
    {
        // In its place, with a key of his own: its server does not speak to him.
        auto ofAnother = device;
        ofAnother[5] = keyFile("stranger");
        Process impostor(ofAnother);
        ASSERT_TRUE(eventually([&] { return impostor.isRunning(); }));
        startWithKeys(section);
        EXPECT_FALSE(eventually(isShown, std::chrono::seconds(3)));
        expectRefused("a device with another key is shown", !isShown());
        impostor.signal(SIGTERM);
        impostor.waitForEnd();
    }
    Process monitor(device);
    EXPECT_TRUE(eventually(isShown)) << as("watcher", {"devices"}).out;
    for (const auto* const name : {"watcher", "studio", "stranger"}) {
        expectRefused(std::string("the key of ") + name + " asks a device, and could end it",
                      !connects(name, Protocol::Request, devicePort));
    }
    expectRefused("no key asks a device", !connectsWithoutKey(Protocol::Request, devicePort));
    EXPECT_TRUE(monitor.isRunning());
    monitor.signal(SIGTERM);
    monitor.waitForEnd();
}

TEST_F(KeyAttacksTest, WhatIsNoProofIsNoKey) {
    addClient("studio", "operate");
    generate("stranger");
    startWithKeys();
    auto stolen = keys::readSecretKeyFile(keyFile("stranger"));
    stolen.publicKey = keys::readPublicKey(keyFile("studio") + ".pub");
    const TcpProtection pretending(
        {.own = stolen, .serverKey = keys::readPublicKey(keyFile("server") + ".pub")});
    Socket attacker("attacker", socket::ClosePolicy::Discard);
    attacker.protectBy(pretending);
    expectRefused("the public key of a client, with another secret one",
                  !connects(attacker, Protocol::Request, requests));
    RawSocket plain(RawSocket::Kind::Dealer);
    plain.connect(requests);
    plain.sendRequest("\x08\x01");
    expectRefused("a client that wants no encryption",
                  !plain.receive(std::chrono::milliseconds(500)));
    if (canBeOthers()) {
        expectRefused("the machine's key, by another user", doneAs({}, [] {
                          const auto path = keyFile("server");
                          return !os::FileDescriptor(::open(path.c_str(), O_RDONLY)).isOpen();
                      }));
    }
    EXPECT_TRUE(isServedStill());
}

TEST_F(KeyAttacksTest, GarbageBeforeTheKeyKeepsNobodyElseOut) {
    addClient("studio", "operate");
    startWithKeys();
    std::string greeting("\xff\0\0\0\0\0\0\0\1\x7f\3\0CURVE", 17);
    greeting.resize(64, '\0');
    const std::vector<std::pair<std::string, std::string>> garbage = {
        {"a connection that says nothing", ""},
        {"half a greeting", greeting.substr(0, 20)},
        {"a greeting without a handshake", greeting},
        {"a handshake of zeros",
         greeting + std::string("\4\xc8\5HELLO", 8) + std::string(194, '\0')},
        {"a handshake without an end",
         greeting + std::string("\6\x7f\xff\xff\xff\xff\xff\xff\xff", 9)},
        {"a request in the place of a handshake", greeting + std::string("\0\2\x08\1", 4)},
        {"another protocol", "GET / HTTP/1.1\r\n\r\n"},
    };
    std::vector<os::FileDescriptor> kept;
    for (const auto& [act, bytes] : garbage) {
        for (int i = 0; i < 10; ++i) {
            kept.push_back(say(bytes));
        }
        expectRefused(act, isServedStill());
    }
    EXPECT_EQ(as("studio", {"jobs", "list"}).exitStatus, 0);
}

}  // namespace

}  // namespace tarn::test
