#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "tests/support/Eventually.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using testing::HasSubstr;

constexpr auto folder = "/tmp/certificates/";
constexpr auto tracks = "/var/log/tracks-over-tls";

/// A service that reaches a loop storage over TCP by certificates, made and administered as an
/// administrator does.
class StorageTlsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        std::filesystem::create_directory(folder);
        generate("storage");
        generate("service");
        add("service", "admin");
        storage = std::make_unique<Process>(std::vector<std::string>{
            loopStorageProgram, "--directory", tracks, "--tcp", "127.0.0.1:20310", "--certificate",
            file("storage"), "--client-certificates", file("clients"), "--require-keys"});
        ASSERT_TRUE(storage->waitForErr("Serves ")) << storage->output().text();
    }
    void TearDown() override {
        storage->signal(SIGTERM);
        EXPECT_EQ(storage->wait().exitStatus, 0);
        SystemTest::TearDown();
        std::filesystem::remove_all(folder);
        std::filesystem::remove_all(tracks);
    }

    static std::string file(const std::string& name) { return folder + name; }
    static void generate(const std::string& name) {
        const auto result = tarnctl({"certificates", "generate", file(name), "--name", name});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }
    static void add(const std::string& name, const std::string& level) {
        const auto result = tarnctl({"certificates", "add", name, file(name) + ".fingerprint",
                                     "--level", level, "--file", file("clients")});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }
    static void remove(const std::string& name) {
        const auto result = tarnctl({"certificates", "remove", name, "--file", file("clients")});
        ASSERT_EQ(result.exitStatus, 0) << result.err;
    }
    static std::string fingerprintOf(const std::string& name) {
        std::ifstream input(file(name) + ".fingerprint");
        std::string word;
        while (input >> word && word != "fingerprint") {
        }
        input >> word;
        return word;
    }

    /// With the storage's certificate known by that fingerprint.
    void start(const std::string& fingerprint) {
        configureSections("<Security><StorageCertificate>" + file("service") +
                          "</StorageCertificate></Security><Storage type=\"LoopStorage\">"
                          "<InterfaceType>tcp</InterfaceType>"
                          "<InterfaceAddress>127.0.0.1</InterfaceAddress>"
                          "<TcpPort>20310</TcpPort><Fingerprint>" +
                          fingerprint + "</Fingerprint></Storage>");
        startService();
    }
    static bool isShown() { return tarnctl({"tree"}).out.find("LoopStorage") != std::string::npos; }

    std::unique_ptr<Process> storage;
};

}  // namespace

TEST_F(StorageTlsTest, IsReachedByTheServiceAndItsTracksAreOperated) {
    start(fingerprintOf("storage"));
    ASSERT_TRUE(eventually(isShown));
    const auto made = tarnctl({"storage", "create", "--size", "1M", "--wait"});
    EXPECT_EQ(made.exitStatus, 0) << made.err;
    EXPECT_TRUE(eventually([] {
        const auto shown = tarnctl({"storage", "tracks", "--json"});
        return shown.out.find("1048576") != std::string::npos;
    }));
}

TEST_F(StorageTlsTest, LeavesTheTreeWithItsCertificateAndComesBackWithIt) {
    start(fingerprintOf("storage"));
    ASSERT_TRUE(eventually(isShown));
    remove("service");
    ASSERT_TRUE(eventually([] { return !isShown(); }));
    EXPECT_TRUE(service().waitForLog("it does not let this certificate in"));
    EXPECT_EQ(tarnctl({"storage", "space"}).exitStatus, 1);
    add("service", "read");
    ASSERT_TRUE(eventually(isShown));
    const auto refused = tarnctl({"storage", "create", "--size", "1M", "--wait"});
    EXPECT_NE(refused.exitStatus, 0);
    EXPECT_THAT(refused.err, HasSubstr("this needs the level admin, and client service has read"));
}

TEST_F(StorageTlsTest, WithAnotherCertificateIsNotSpokenTo) {
    start(fingerprintOf("service"));
    EXPECT_TRUE(
        service().waitForLog("its certificate is not known here: " + fingerprintOf("storage")));
    EXPECT_FALSE(isShown());
}

TEST_F(StorageTlsTest, IsNotReachedInTheClearWhereThereIsACertificate) {
    configureSections("<Security><StorageCertificate>" + file("service") +
                      "</StorageCertificate></Security><Storage type=\"LoopStorage\">"
                      "<InterfaceType>tcp</InterfaceType>"
                      "<InterfaceAddress>127.0.0.1</InterfaceAddress>"
                      "<TcpPort>20310</TcpPort></Storage>");
    startService();
    EXPECT_TRUE(service().waitForLog("the fingerprint of this one is not known"));
    EXPECT_FALSE(isShown());
}

// An address that no machine has.
TEST_F(StorageTlsTest, BeyondThisMachineWithoutACertificateIsWarnedOf) {
    configureSections(
        "<Storage type=\"LoopStorage\"><InterfaceType>tcp</InterfaceType>"
        "<InterfaceAddress>192.0.2.1</InterfaceAddress><TcpPort>20310</TcpPort></Storage>");
    startService();
    EXPECT_TRUE(service().waitForLog(
        "Loop storage TCP 192.0.2.1:20310 is beyond this machine and is reached without "
        "encryption"));
}

}  // namespace tarn::test
