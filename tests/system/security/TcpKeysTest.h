#pragma once

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/keys/SecretKeyFile.h"
#include "platform/socket/Socket.h"
#include "platform/socket/TcpProtection.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

/// A service over TCP whose clients have keys, made and administered as an administrator does.
class TcpKeysTest : public SystemTest {
  protected:
    using Protocol = socket::Protocol;
    using Socket = socket::Socket;
    using TcpProtection = socket::TcpProtection;

    static constexpr auto requests = "tcp://127.0.0.1:20100";
    static constexpr auto clientKeys = "/tmp/keys/clients";
    static std::string keyFile(const std::string& name) { return keyFolder + name; }

    void SetUp() override {
        SystemTest::SetUp();
        std::filesystem::create_directory(keyFolder);
        generate("server");
        std::ofstream(clientKeys) << "# clients of the test\n";
    }

    static void generate(const std::string& name) {
        const auto result = tarnctl({"keys", "generate", keyFile(name)});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }
    static void addClient(const std::string& name, const std::string& level) {
        generate(name);
        const auto result = tarnctl(
            {"keys", "add", name, keyFile(name) + ".pub", "--level", level, "--file", clientKeys});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }
    static void removeClient(const std::string& name) {
        const auto result = tarnctl({"keys", "remove", name, "--file", clientKeys});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }

    void start(const std::string& further = {}) {
        configureSections(
            "<Endpoints><RequestsEndpoint>tcp://127.0.0.1:20100</RequestsEndpoint></Endpoints>" +
            further);
        startService();
    }
    void startWithKeys(const std::string& further = {}) {
        start(
            "<Resources><TcpPorts interface=\"127.0.0.1\" from=\"30000\" to=\"30999\"/></Resources>"
            "<Security required=\"true\"><KeyFile>/tmp/keys/server</KeyFile>"
            "<ClientKeys>/tmp/keys/clients</ClientKeys></Security>" +
            further);
    }

    static TcpProtection protectionOf(const std::string& name) {
        return TcpProtection({.own = keys::readSecretKeyFile(keyFile(name)),
                              .serverKey = keys::readPublicKey(keyFile("server") + ".pub")});
    }
    static bool connects(Socket& socket, Protocol protocol, const std::string& endpoint) {
        try {
            socket.createAndConnect(protocol, socket::SocketEndpoint::FromString(endpoint), 1000);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }
    static bool connects(const std::string& name, Protocol protocol, const std::string& endpoint) {
        const auto protection = protectionOf(name);
        Socket socket(name, socket::ClosePolicy::Discard);
        socket.protectBy(protection);
        return connects(socket, protocol, endpoint);
    }
    static bool connectsWithoutKey(Protocol protocol, const std::string& endpoint) {
        Socket socket("nobody", socket::ClosePolicy::Discard);
        return connects(socket, protocol, endpoint);
    }

    static JobAddress submitAs(const std::string& name) {
        const auto submitted = as(name, {"jobs", "submit", "--json", "--pipeline", endless});
        EXPECT_EQ(submitted.exitStatus, 0) << submitted.err;
        const auto job = nlohmann::json::parse(submitted.out, nullptr, /*allow_exceptions=*/false);
        return {job.value("job_id", ""), job.value("command_endpoint", ""),
                job.value("event_endpoint", "")};
    }

    /// A command of somebody with the key of that name, to the server that he takes it for.
    static ProcessResult as(const std::string& name, std::vector<std::string> arguments,
                            const std::string& server = "server") {
        arguments.insert(arguments.end(), {"--endpoint", requests, "--key", keyFile(name),
                                           "--server-key", keyFile(server) + ".pub"});
        return tarnctl(std::move(arguments));
    }

  private:
    static constexpr auto keyFolder = "/tmp/keys/";
};

}  // namespace tarn::test
