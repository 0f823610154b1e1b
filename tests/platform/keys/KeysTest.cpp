#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/keys/KeyLines.h"
#include "platform/keys/KeyPair.h"
#include "platform/keys/SecretKeyFile.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::keys {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class SecretKeyFileTest : public ::testing::Test {
  protected:
    std::string refusalOf(const std::string& file) const {
        try {
            readSecretKeyFile(file);
        } catch (const KeyFileError& failure) {
            return failure.what();
        }
        return "";
    }
    std::string written(const std::string& content) const {
        const auto file = folder.write("content", content);
        ::chmod(file.c_str(), 0600);
        return file;
    }

    const tarn::test::TemporaryFolder folder;
    const std::string path = folder.path() / "key";
    const KeyPair keys = generateKeyPair();
};

}  // namespace

TEST(KeysTest, ArePairsOfFortyCharacters) {
    const auto keys = generateKeyPair();
    EXPECT_TRUE(isKey(keys.publicKey));
    EXPECT_TRUE(isKey(keys.secretKey));
    EXPECT_NE(keys.publicKey, keys.secretKey);
    EXPECT_EQ(keyPairOf(keys.secretKey).publicKey, keys.publicKey);
    EXPECT_NE(generateKeyPair().secretKey, keys.secretKey);
}

TEST(KeysTest, AreNothingElse) {
    const auto key = generateKeyPair().publicKey;
    EXPECT_FALSE(isKey(""));
    EXPECT_FALSE(isKey(key.substr(1)));
    EXPECT_FALSE(isKey(key + "0"));
    EXPECT_FALSE(isKey(std::string(40, '"')));
    EXPECT_FALSE(isKey(std::string(40, '\0')));
    EXPECT_FALSE(isKey(std::string(39, '0') + "\xff"));
    EXPECT_FALSE(isKey(std::string(40, '#'))) << "more than 32 bits in five characters";
    EXPECT_THROW(keyPairOf("no key"), std::invalid_argument);
}

TEST(KeysTest, LinesAreNumberedAndCommentsAreNone) {
    const auto lines = linesOf("\n# read x y\n  one\ttwo  \r\n\nlast");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 3u);
    EXPECT_THAT(lines[0].words, ::testing::ElementsAre("one", "two"));
    EXPECT_EQ(lines[1].number, 5u);
}

TEST_F(SecretKeyFileTest, HoldsWhatWasWrittenForItsOwnerAlone) {
    writeSecretKeyFile(path, keys);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    EXPECT_EQ(readSecretKeyFile(path).secretKey, keys.secretKey);
    EXPECT_EQ(readSecretKeyFile(path).publicKey, keys.publicKey);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1)
        << "a draft was left";
}

TEST_F(SecretKeyFileTest, IsNeverReplaced) {
    writeSecretKeyFile(path, keys);
    EXPECT_THROW(writeSecretKeyFile(path, generateKeyPair()), KeyFileError);
    EXPECT_EQ(readSecretKeyFile(path).secretKey, keys.secretKey);
}

TEST_F(SecretKeyFileTest, ThatOthersCanReadIsRefused) {
    writeSecretKeyFile(path, keys);
    for (const mode_t mode : {0640U, 0604U, 0620U, 0602U}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        EXPECT_THAT(refusalOf(path), HasSubstr("chmod 600")) << std::oct << mode;
    }
}

TEST_F(SecretKeyFileTest, WithSomethingElseIsRefusedWithoutTellingWhat) {
    const auto other = generateKeyPair();
    EXPECT_THAT(refusalOf(written("")), HasSubstr("no secret key"));
    EXPECT_THAT(refusalOf(written("secret\n")), HasSubstr("no secret key"));
    EXPECT_THAT(refusalOf(written("secret " + std::string(5000, 'x'))), HasSubstr("no secret key"));
    const auto mixed =
        refusalOf(written("public " + other.publicKey + "\nsecret " + keys.secretKey + "\n"));
    EXPECT_THAT(mixed, HasSubstr("not that of its secret key"));
    EXPECT_THAT(mixed, Not(HasSubstr(keys.secretKey)));
}

TEST_F(SecretKeyFileTest, ThatIsNoFileIsRefused) {
    EXPECT_THAT(refusalOf(folder.path() / "nothing"), HasSubstr("No such file"));
    EXPECT_NE(refusalOf(folder.path()), "");
    const auto pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(refusalOf(pipe), HasSubstr("it is no file"));
}

TEST_F(SecretKeyFileTest, APublicKeyIsItselfOrWhatAFileHolds) {
    EXPECT_EQ(readPublicKey(keys.publicKey), keys.publicKey);
    EXPECT_EQ(readPublicKey(folder.write("pub", publicKeyFileText(keys.publicKey))),
              keys.publicKey);
    EXPECT_THROW(readPublicKey(folder.write("none", "public nothing\n")), KeyFileError);
    EXPECT_THROW(readPublicKey(folder.path() / "missing"), KeyFileError);
}

}  // namespace tarn::keys
