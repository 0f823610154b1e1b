#include "platform/access/ClientKeys.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "platform/access/ClientKeyText.h"
#include "platform/keys/KeyPair.h"
#include "platform/os/Readable.h"
#include "tests/support/OtherUser.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::access {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::string newKey() {
    return keys::generateKeyPair().publicKey;
}

class ClientKeysFileTest : public ::testing::Test {
  protected:
    ClientKeysFileTest() { write("operate " + key + " studio\n"); }

    void write(const std::string& content) const { folder.write("client-keys", content); }

    /// As a program does that sleeps until something has happened.
    static bool noticesChange(ClientKeys& keys) {
        return os::becomesReadable(keys.descriptor(), os::Deadline(std::chrono::seconds(10))) &&
               keys.refresh();
    }

    const std::string key = newKey();
    const std::string ownKey = newKey();
    const tarn::test::TemporaryFolder folder;
    const std::string path = folder.path() / "client-keys";
};

}  // namespace

TEST(ClientKeyListTest, HasALineForEachClient) {
    const auto one = newKey();
    const auto two = newKey();
    const auto list =
        parseClientKeys("# clients\n\nread " + one + " studio-1\r\n\tadmin\t" + two + " a@b\n");
    EXPECT_THAT(list.keys, ElementsAre(ClientKey{Level::Read, one, "studio-1", 3},
                                       ClientKey{Level::Admin, two, "a@b", 4}));
    EXPECT_THAT(list.problems, IsEmpty());
}

TEST(ClientKeyListTest, ALineThatIsNoneGivesNobodyAnythingAndCostsTheOthersNothing) {
    const auto key = newKey();
    for (const auto& bad :
         {"read " + newKey(), "read " + newKey() + " a b", "none " + newKey() + " a",
          "root " + newKey() + " a", "Read " + newKey() + " a", std::string("read key a"),
          "read " + newKey() + "0 a", "read " + newKey() + " ../a", std::string("read"),
          "read " + newKey() + " " + std::string(65, 'a'), std::string(100000, 'x'),
          std::string("read \0 a", 8), std::string("\xff\xfe\x00", 3)}) {
        const auto list = parseClientKeys(bad + "\nread " + key + " good\n");
        ASSERT_THAT(list.keys, SizeIs(1)) << bad;
        EXPECT_EQ(list.keys[0].key, key);
        ASSERT_THAT(list.problems, SizeIs(1)) << bad;
        EXPECT_THAT(list.problems[0], HasSubstr("line 1: "));
    }
}

TEST(ClientKeyListTest, AProblemDoesNotRepeatWhatStandsThere) {
    const auto secret = keys::generateKeyPair().secretKey;
    for (const auto& bad : {"secret " + secret, secret + " read name", "read x " + secret}) {
        EXPECT_THAT(parseClientKeys(bad).problems[0], Not(HasSubstr(secret)));
    }
}

TEST(ClientKeyListTest, OfTwoLinesForAKeyTheLowerLevelCounts) {
    const auto key = newKey();
    for (const auto& text : {"admin " + key + " a\nread " + key + " b\n",
                             "read " + key + " a\nadmin " + key + " b\n"}) {
        const auto list = parseClientKeys(text);
        ASSERT_THAT(list.keys, SizeIs(1));
        EXPECT_EQ(list.keys[0].level, Level::Read);
        EXPECT_THAT(list.problems, ElementsAre(HasSubstr("line 2: ")));
    }
}

// Who may write the file could keep the service busy with it for minutes.
TEST(ClientKeyListTest, TakesTimeByItsLengthAndNoMore) {
    const auto text = [](int lines) {
        std::string all;
        for (int i = 0; i < lines; ++i) {
            const auto digits = std::to_string(i);
            all += "read " + std::string(40 - digits.size(), '0') + digits + " a\n";
        }
        return all;
    };
    const auto timeOf = [](const std::string& all, std::size_t lines) {
        const auto begin = std::clock();
        EXPECT_THAT(parseClientKeys(all).keys, SizeIs(lines));
        return static_cast<double>(std::clock() - begin);
    };
    const auto few = text(2000);
    const auto many = text(20000);
    double ratio = 1000;
    for (int i = 0; i < 5; ++i) {
        ratio = std::min(ratio, timeOf(many, 20000) / std::max(timeOf(few, 2000), 1.0));
    }
    EXPECT_LT(ratio, 40) << "ten times as long a text";
}

TEST(ClientKeyTextTest, IsChangedByALineAndKeepsTheRest) {
    const auto one = newKey();
    const auto two = newKey();
    const auto text =
        withClientKey("# mine\nnonsense", {.level = Level::Read, .key = one, .name = "one"});
    EXPECT_EQ(text, "# mine\nnonsense\nread " + one + " one\n");
    const auto both = withClientKey(text, {.level = Level::Admin, .key = two, .name = "two"});
    EXPECT_EQ(withoutClientKey(both, "two"), text);
    EXPECT_EQ(withoutClientKey(both, two), text);
    EXPECT_EQ(withoutClientKey(text, "one"), "# mine\nnonsense\n");
}

TEST(ClientKeyTextTest, TakesNothingTwiceAndNothingThatIsNone) {
    const auto key = newKey();
    const std::string text = "read " + key + " one\n";
    const auto refuses = [&](const ClientKey& entry) {
        EXPECT_THROW(withClientKey(text, entry), std::invalid_argument);
    };
    refuses({.level = Level::Read, .key = key, .name = "two"});
    refuses({.level = Level::Read, .key = newKey(), .name = "one"});
    refuses({.level = Level::None, .key = newKey(), .name = "two"});
    refuses({.level = Level::Read, .key = "key", .name = "two"});
    refuses({.level = Level::Read, .key = newKey(), .name = "two\nadmin"});
    EXPECT_THROW(withoutClientKey(text, "two"), std::invalid_argument);
}

TEST_F(ClientKeysFileTest, GivesItsClientsTheirLevels) {
    const ClientKeys keys(path, ownKey);
    EXPECT_EQ(keys.levelOf(key), Level::Operate);
    EXPECT_EQ(keys.levelOf(ownKey), Level::Admin);
    EXPECT_EQ(keys.levelOf(newKey()), Level::None);
    EXPECT_EQ(keys.levelOf(""), Level::None);
    EXPECT_TRUE(keys.admits(key, socket::Entrance::Clients));
    EXPECT_TRUE(keys.admits(key, socket::Entrance::Devices));
    EXPECT_FALSE(keys.admits(key, socket::Entrance::OwnPrograms));
    EXPECT_FALSE(keys.admits("", socket::Entrance::Clients));
}

TEST_F(ClientKeysFileTest, AReaderIsNoDevice) {
    write("read " + key + " studio\n");
    const ClientKeys keys(path, "");
    EXPECT_TRUE(keys.admits(key, socket::Entrance::Clients));
    EXPECT_FALSE(keys.admits(key, socket::Entrance::Devices));
}

TEST_F(ClientKeysFileTest, IsReadAgainWhenItWasWritten) {
    ClientKeys keys(path, ownKey);
    EXPECT_FALSE(keys.refresh());
    write("admin " + key + " studio\n");
    EXPECT_TRUE(noticesChange(keys));
    EXPECT_EQ(keys.levelOf(key), Level::Admin);
}

TEST_F(ClientKeysFileTest, IsReadAgainWhenAnotherTookItsPlace) {
    ClientKeys keys(path, ownKey);
    const auto next = folder.write("next", "# nobody\n");
    ASSERT_TRUE(os::becomesReadable(keys.descriptor(), os::Deadline(std::chrono::seconds(10))));
    EXPECT_FALSE(keys.refresh()) << "another file is none of its business";
    std::filesystem::rename(next, path);
    EXPECT_TRUE(noticesChange(keys));
    EXPECT_EQ(keys.levelOf(key), Level::None);
}

TEST_F(ClientKeysFileTest, ThatIsGoneLetsNobodyInUntilItIsBack) {
    ClientKeys keys(path, ownKey);
    std::filesystem::remove(path);
    EXPECT_TRUE(noticesChange(keys));
    EXPECT_EQ(keys.levelOf(key), Level::None);
    EXPECT_EQ(keys.levelOf(ownKey), Level::Admin);
    write("read " + key + " studio\n");
    EXPECT_TRUE(noticesChange(keys));
    EXPECT_EQ(keys.levelOf(key), Level::Read);
}

TEST_F(ClientKeysFileTest, WithoutAFolderIsLookedForAndLetsNobodyIn) {
    const auto later = folder.path() / "later";
    ClientKeys keys(later / "client-keys", ownKey);
    EXPECT_EQ(keys.descriptor(), -1);
    EXPECT_EQ(keys.levelOf(key), Level::None);
    std::filesystem::create_directory(later);
    std::ofstream(later / "client-keys") << "read " << key << " studio\n";
    EXPECT_TRUE(keys.refresh());
    EXPECT_EQ(keys.levelOf(key), Level::Read);
}

TEST_F(ClientKeysFileTest, ThatIsTooLargeLetsNobodyIn) {
    write("read " + key + " studio\n" + std::string(largestListFile, '\n'));
    const ClientKeys keys(path, ownKey);
    EXPECT_EQ(keys.levelOf(key), Level::None);
}

TEST_F(ClientKeysFileTest, OfAnotherUserLetsNobodyIn) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    ASSERT_EQ(::chown(path.c_str(), test::OtherUser().user, test::OtherUser().group), 0);
    const ClientKeys keys(path, ownKey);
    EXPECT_EQ(keys.levelOf(key), Level::None);
}

TEST_F(ClientKeysFileTest, TheProcessesClientsAreAskedAbout) {
    EXPECT_EQ(levelOfKey(key), Level::None);
    useClientKeys(std::make_shared<const ClientKeys>(path, ownKey));
    EXPECT_EQ(levelOfKey(key), Level::Operate);
    useClientKeys(nullptr);
    EXPECT_EQ(levelOfKey(key), Level::None);
}

}  // namespace tarn::access
