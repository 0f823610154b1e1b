#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/access/ClientCertificates.h"
#include "platform/keys/Fingerprint.h"
#include "platform/tls/CertifiedKey.h"
#include "tests/cli/TarnctlFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cli {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

class CertificatesCommandsTest : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }
    static std::string contentOf(const std::string& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    CommandResult add(const std::string& name, const std::string& fingerprint,
                      const std::vector<std::string>& further = {}) const {
        std::vector<std::string> line{"certificates", "add", name, fingerprint, "--file", list};
        line.insert(line.end(), further.begin(), further.end());
        return runLine(line);
    }

    const test::TemporaryFolder folder;
    const std::string list = path("clients");
    const std::string one = std::string(64, '1');
};

}  // namespace

TEST_F(CertificatesCommandsTest, GenerateMakesAKeyThatIsUsedAndSaysItsFingerprint) {
    const auto run =
        runLine({"certificates", "generate", path("key"), "--name", "studio", "--days", "10"});
    ASSERT_EQ(run.status, ExitStatus::Done) << run.err;
    const auto key = tls::readCertifiedKeyFile(path("key"));
    EXPECT_EQ(run.out, "fingerprint " + key.fingerprint + "\n");
    EXPECT_THAT(run.out, Not(HasSubstr("PRIVATE")));
    EXPECT_EQ(keys::readFingerprint(path("key.fingerprint")), key.fingerprint);
    const auto left = key.end - std::chrono::system_clock::now();
    EXPECT_GT(left, std::chrono::hours(239));
    EXPECT_LE(left, std::chrono::hours(240));
}

TEST_F(CertificatesCommandsTest, GenerateReplacesNothing) {
    ASSERT_EQ(runLine({"certificates", "generate", path("key")}).status, ExitStatus::Done);
    const auto before = contentOf(path("key")) + contentOf(path("key.fingerprint"));
    const auto run = runLine({"certificates", "generate", path("key")});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("it is there already"));
    EXPECT_EQ(contentOf(path("key")) + contentOf(path("key.fingerprint")), before);
}

TEST_F(CertificatesCommandsTest, GenerateTakesNoNonsense) {
    for (const std::vector<std::string>& further : {std::vector<std::string>{"--days", "0"},
                                                    {"--days", "99999999"},
                                                    {"--name", "a b"},
                                                    {"--name", ""}}) {
        std::vector<std::string> line{"certificates", "generate", path("key")};
        line.insert(line.end(), further.begin(), further.end());
        EXPECT_EQ(runLine(line).status, ExitStatus::Usage) << further[0] << further[1];
    }
    EXPECT_EQ(runLine({"certificates", "generate"}).status, ExitStatus::Usage);
    EXPECT_EQ(runLine({"certificates", "generate", path("no/folder")}).status, ExitStatus::Failed);
}

TEST_F(CertificatesCommandsTest, ClientsAreAddedListedAndRemoved) {
    ASSERT_EQ(runLine({"certificates", "generate", path("van")}).status, ExitStatus::Done);
    const auto van = keys::readFingerprint(path("van.fingerprint"));
    EXPECT_EQ(add("studio", one, {"--level", "admin"}).out, "studio has admin\n");
    const auto added =
        add("van", path("van.fingerprint"), {"--level", "operate", "--tracks", "0:read,7:write"});
    EXPECT_EQ(added.out, "van has operate at 0:read,7:write\n");
    const auto shown = runLine({"certificates", "list", "--file", list});
    EXPECT_EQ(shown.out, "admin " + one + " studio\noperate " + van + " van 0:read,7:write\n");
    const auto document =
        json::parse(runLine({"certificates", "list", "--file", list, "--json"}).out);
    ASSERT_EQ(document["clients"].size(), 2U);
    EXPECT_EQ(document["clients"][1]["tracks"], "0:read,7:write");
    EXPECT_EQ(runLine({"certificates", "remove", "studio", "--file", list}).status,
              ExitStatus::Done);
    EXPECT_EQ(runLine({"certificates", "remove", van, "--file", list}).status, ExitStatus::Done);
    EXPECT_EQ(contentOf(list), "");
}

TEST_F(CertificatesCommandsTest, WhatWouldLetNobodyInIsNotAdded) {
    ASSERT_EQ(add("studio", one).status, ExitStatus::Done);
    const auto before = contentOf(list);
    const std::string two(64, '2');
    EXPECT_EQ(add("studio", two).status, ExitStatus::Failed);
    EXPECT_EQ(add("other", one).status, ExitStatus::Failed);
    EXPECT_EQ(add("a\nadmin", two).status, ExitStatus::Failed);
    EXPECT_EQ(add("van", two, {"--tracks", "all"}).status, ExitStatus::Failed);
    EXPECT_EQ(add("van", two, {"--level", "admin", "--tracks", "1:read"}).status,
              ExitStatus::Failed);
    EXPECT_EQ(add("van", path("nowhere")).status, ExitStatus::Failed);
    EXPECT_EQ(add("van", two, {"--level", "root"}).status, ExitStatus::Usage);
    EXPECT_EQ(contentOf(list), before);
}

TEST_F(CertificatesCommandsTest, ListFailsForALineThatGivesNobodyAnything) {
    folder.write("clients", "read " + one + " studio\nnonsense\n");
    const auto run = runLine({"certificates", "list", "--file", list});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("line 2: "));
    EXPECT_EQ(run.out, "read " + one + " studio\n");
}

}  // namespace tarn::cli
