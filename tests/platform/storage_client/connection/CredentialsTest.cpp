#include "platform/storage_client/connection/Credentials.h"

#include <gmock/gmock.h>

#include <fstream>

#include "platform/storage_client/connection/Failure.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::storage_client {
namespace {

using testing::HasSubstr;

struct CredentialsTest : testing::Test {
    std::string refusalOf(const std::string& host, std::uint16_t port) const {
        try {
            credentials.find(host, port);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.type(), TARN_STORAGE_ERROR_ARGUMENT);
            return failure.what();
        }
        return "";
    }
    std::string found(const std::string& host, std::uint16_t port) const {
        return credentials.find(host, port).value_or(Protection{}).fingerprint;
    }

    const std::string one = std::string(64, '1');
    const std::string two = std::string(64, '2');
    const tarn::test::TemporaryFolder folder;
    Credentials credentials;
};

TEST_F(CredentialsTest, WithoutAnyAConnectionGoesWithout) {
    EXPECT_FALSE(credentials.find("storage", 7000));
}

TEST_F(CredentialsTest, AServerIsKnownByItsHostAndPort) {
    credentials.useCertificate("/key");
    credentials.knowServer("storage", 7000, one);
    credentials.knowServer("::1", 7000, two);
    EXPECT_EQ(found("storage", 7000), one);
    EXPECT_EQ(found("::1", 7000), two);
    EXPECT_EQ(credentials.find("storage", 7000)->certificateFile, "/key");
    EXPECT_THROW(credentials.knowServer("storage", 7000, "none"), Failure);
}

// Instead of being spoken to in the clear by somebody who believes to be protected.
TEST_F(CredentialsTest, AServerThatIsNotKnownIsRefusedWhereThereIsACertificate) {
    credentials.useCertificate("/key");
    EXPECT_THAT(refusalOf("storage", 7000), HasSubstr("the fingerprint of this one is not known"));
    credentials.knowServer("storage", 7000, one);
    EXPECT_THAT(refusalOf("storage", 7001), HasSubstr("Not connected to storage:7001: "));
}

TEST_F(CredentialsTest, AServerThatIsKnownIsRefusedWhereThereIsNoCertificate) {
    credentials.knowServersOf(one);
    EXPECT_THAT(refusalOf("storage", 7000), HasSubstr("there is no certificate to show it"));
}

TEST_F(CredentialsTest, OneFingerprintMayBeThatOfEveryServer) {
    credentials.useCertificate("/key");
    credentials.knowServersOf(one);
    EXPECT_EQ(found("any", 1), one);
}

TEST_F(CredentialsTest, AFileHasALineForEachServerAndMayChange) {
    const auto file = folder.write("servers", "# ours\nstorage:7000 " + one + "\nbad:1 no\n");
    credentials.useCertificate("/key");
    credentials.knowServersOf(file);
    EXPECT_EQ(found("storage", 7000), one);
    EXPECT_THAT(refusalOf("bad", 1), HasSubstr("line 3: it has no fingerprint of 64 digits"));
    EXPECT_THAT(refusalOf("storage", 7001), HasSubstr("is not known"));
    std::ofstream(file) << "[::1]:7001 " << two << "\n";
    EXPECT_EQ(found("::1", 7001), two);
    credentials.knowServersOf((folder.path() / "none").string());
    EXPECT_THAT(refusalOf("storage", 7000), HasSubstr("fingerprints cannot be read"));
}

}  // namespace
}  // namespace tarn::storage_client
