#include "platform/access/ClientCertificates.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::access {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string one(64, '1');
const std::string two(64, '2');

TEST(TrackRightsTest, ATrackIsReadOrWrittenAsItIsListed) {
    const auto rights = TrackRights::Parse("3:read,7:write");
    ASSERT_TRUE(rights);
    EXPECT_TRUE(rights->allows(3, TrackAccess::Read));
    EXPECT_FALSE(rights->allows(3, TrackAccess::Write));
    EXPECT_TRUE(rights->allows(7, TrackAccess::Read));
    EXPECT_TRUE(rights->allows(7, TrackAccess::Write));
    EXPECT_FALSE(rights->allows(4, TrackAccess::Read));
}

TEST(TrackRightsTest, TheStarIsForThoseThatAreNotListed) {
    const auto rights = TrackRights::Parse("*:write,3:read");
    ASSERT_TRUE(rights);
    EXPECT_TRUE(rights->allows(4, TrackAccess::Write));
    EXPECT_FALSE(rights->allows(3, TrackAccess::Write));
}

TEST(TrackRightsTest, OtherTextsAreNone) {
    for (const auto* const text :
         {"", ",", "3", "3:", ":read", "3:admin", "3:read,", "3:read,,4:read", "-1:read", "3 :read",
          "03x:read", "99999999999999999999:read", "3:read,3:write", "*:read,*:write"}) {
        EXPECT_FALSE(TrackRights::Parse(text)) << text;
    }
}

TEST(ClientCertificateListTest, ALineGivesALevelAndPerhapsTracks) {
    const auto list = parseClientCertificates("# clients\n\noperate " + one +
                                              " studio 3:write\nadmin " + two + " control\n");
    EXPECT_THAT(list.problems, IsEmpty());
    ASSERT_EQ(list.clients.size(), 2U);
    EXPECT_EQ(list.clients[0].level, Level::Operate);
    EXPECT_EQ(list.clients[0].name, "studio");
    ASSERT_TRUE(list.clients[0].tracks);
    EXPECT_FALSE(list.clients[0].tracks->allows(1, TrackAccess::Read));
    EXPECT_EQ(list.clients[1].level, Level::Admin);
    EXPECT_FALSE(list.clients[1].tracks);
}

TEST(ClientCertificateListTest, AFingerprintIsTakenAsOtherToolsWriteIt) {
    std::string colons;
    for (int i = 0; i < 32; ++i) {
        colons += (i == 0 ? "" : ":") + std::string("aB");
    }
    const auto list = parseClientCertificates("read " + colons + " studio\n");
    ASSERT_EQ(list.clients.size(), 1U);
    std::string plain;
    for (int i = 0; i < 32; ++i) {
        plain += "ab";
    }
    EXPECT_EQ(list.clients[0].fingerprint, plain);
}

// And it is not repeated what stands there: it may be a secret.
TEST(ClientCertificateListTest, ALineThatIsNoneGivesNobodyAnything) {
    for (const auto& line :
         {std::string("operate"), "root " + one + " studio", "none " + one + " studio",
          "read " + one.substr(1) + " studio", "read " + one + "1 studio",
          "read " + one + " ../studio", "read " + one + " studio 3:secret",
          "admin " + one + " studio 3:write", "read " + one + " studio 3:read more"}) {
        const auto list = parseClientCertificates(line + "\nread " + two + " other\n");
        EXPECT_EQ(list.clients.size(), 1U) << line;
        ASSERT_EQ(list.problems.size(), 1U) << line;
        EXPECT_THAT(list.problems[0], HasSubstr("line 1: "));
        EXPECT_EQ(list.problems[0].find(one.substr(1)), std::string::npos);
        EXPECT_EQ(list.problems[0].find("secret"), std::string::npos);
    }
}

TEST(ClientCertificateListTest, ACertificateInTwoLinesIsLetInByNeither) {
    const auto list = parseClientCertificates("read " + one + " a\nadmin " + one + " b\n");
    EXPECT_THAT(list.clients, IsEmpty());
    EXPECT_EQ(list.problems.size(), 2U);
}

TEST(ClientCertificateListTest, LinesAreAddedAndRemovedAndOthersStay) {
    const std::string text = "# mine\nread " + one + " studio";
    const auto more = withClientCertificate(
        text,
        {.level = Level::Operate, .fingerprint = two, .name = "van", .tracksText = "1:write"});
    EXPECT_EQ(more, text + "\noperate " + two + " van 1:write\n");
    EXPECT_EQ(withoutClientCertificate(more, two), text + "\n");
    EXPECT_EQ(withoutClientCertificate(more, "studio"),
              "# mine\noperate " + two + " van 1:write\n");
    EXPECT_THROW(withoutClientCertificate(more, "nobody"), std::invalid_argument);
}

TEST(ClientCertificateListTest, NothingIsAddedThatWouldGiveNobodyAnything) {
    const std::string text = "read " + one + " studio\n";
    const ClientCertificate good{.level = Level::Read, .fingerprint = two, .name = "van"};
    auto bad = good;
    bad.fingerprint = one;
    EXPECT_THROW(withClientCertificate(text, bad), std::invalid_argument);
    bad = good;
    bad.name = "studio";
    EXPECT_THROW(withClientCertificate(text, bad), std::invalid_argument);
    bad = good;
    bad.name = "a\nadmin " + one + " b";
    EXPECT_THROW(withClientCertificate(text, bad), std::invalid_argument);
    bad = good;
    bad.tracksText = "1:all";
    EXPECT_THROW(withClientCertificate(text, bad), std::invalid_argument);
}

class ClientCertificatesTest : public testing::Test {
  protected:
    void write(const std::string& text) const { std::ofstream(path) << text; }

    const test::LogCapture log;
    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "clients").string();
};

TEST_F(ClientCertificatesTest, AFileThatIsNotThereLetsNobodyIn) {
    const ClientCertificates clients(path);
    EXPECT_FALSE(clients.find(one));
    EXPECT_TRUE(log.contains("Client certificates > " + path + " lets nobody in: "));
}

TEST_F(ClientCertificatesTest, AFileThatIsTooLargeLetsNobodyIn) {
    write("read " + one + " studio\n" + std::string(largestListFile, '\n'));
    EXPECT_FALSE(ClientCertificates(path).find(one));
}

TEST_F(ClientCertificatesTest, AChangeIsTakenOver) {
    write("read " + one + " studio\n");
    ClientCertificates clients(path);
    EXPECT_FALSE(clients.refresh());
    ASSERT_TRUE(clients.find(one));
    write("operate " + two + " van\n");
    EXPECT_TRUE(clients.refresh());
    EXPECT_FALSE(clients.find(one));
    ASSERT_TRUE(clients.find(two));
    EXPECT_EQ(clients.find(two)->level, Level::Operate);
    std::filesystem::remove(path);
    EXPECT_TRUE(clients.refresh());
    EXPECT_FALSE(clients.find(two));
}

TEST_F(ClientCertificatesTest, ABadLineIsToldByItsNumber) {
    write("read " + one + " studio\nnonsense\n");
    const ClientCertificates clients(path);
    EXPECT_TRUE(clients.find(one));
    EXPECT_TRUE(log.contains("line 2: it is not \"LEVEL FINGERPRINT NAME [TRACKS]\""));
}

}  // namespace

}  // namespace tarn::access
