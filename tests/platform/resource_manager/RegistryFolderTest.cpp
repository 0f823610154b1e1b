#include "platform/resource_manager/RegistryFolder.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

using test::idsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

class RegistryFoldersTest : public testing::Test {
  protected:
    void enter(const std::string& id) const {
        const auto opened = folder.open(endpoint);
        ASSERT_TRUE(opened.store);
        opened.store->apply(
            {.removed = {}, .entered = test::jobOfThisProcess(id), .deltacastConfiguration = {}});
    }

    void overwriteFile(const std::string& content) const {
        std::ofstream(file, std::ios::binary) << content;
    }

    void expectPutAside(const std::string& content, const std::string& name) {
        const auto opened = folder.open(endpoint);
        EXPECT_TRUE(opened.store);
        EXPECT_THAT(opened.contents.jobs, IsEmpty());
        EXPECT_EQ(tarn::test::readFile(name), content);
        EXPECT_TRUE(log.contains("ERROR ResourceManager > Cannot read the registry " + file));
        EXPECT_TRUE(log.contains("put aside as " + name));
    }

    tarn::test::LogCapture log;
    tarn::test::TemporaryFolder temporary;
    const RegistryFolder folder{(temporary.path() / "made" / "here").string()};
    const std::string endpoint = "ipc:///tmp/resource";
    const std::string file = folder.pathFor(endpoint);
};

TEST_F(RegistryFoldersTest, KeepTheRegistryOfEachEndpointApart) {
    enter("a");
    EXPECT_THAT(idsOf(folder.open(endpoint).contents.jobs), ElementsAre("a"));
    EXPECT_THAT(folder.open("ipc:///tmp/other").contents.jobs, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RegistryFoldersTest, NameFilesSafelyWhateverTheEndpoint) {
    const auto parent = (temporary.path() / "made" / "here").string() + "/";
    std::set<std::string> names;
    for (const std::string& text :
         {std::string("ipc:///tmp/../../etc/x"), std::string("ipc:///tmp/a_b"),
          std::string("ipc:///tmp/a/b"), std::string("tcp://*:5000"),
          std::string("tcp://[::1]:5000"), std::string(5000, 'x'), std::string(5001, 'x'),
          std::string("a\0b\n", 4), std::string()}) {
        const auto path = folder.pathFor(text);
        EXPECT_EQ(path.rfind(parent, 0), 0U);
        const auto name = path.substr(parent.size());
        EXPECT_THAT(name, testing::MatchesRegex("[A-Za-z0-9_.-]+"));
        EXPECT_NE(name[0], '.');
        EXPECT_LT(name.size(), 200U);
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_TRUE(folder.open(text).store);
    }
}

// A service of another version must find the same file.
TEST_F(RegistryFoldersTest, NameFilesTheSameForEver) {
    EXPECT_THAT(file, testing::EndsWith("/ipc____tmp_resource-19c0c50e8e2fd686.registry"));
}

TEST_F(RegistryFoldersTest, PutAsideAFileThatIsNoDatabase) {
    enter("a");
    const std::string content(5000, 'x');
    overwriteFile(content);
    expectPutAside(content, file + ".damaged-1");
}

TEST_F(RegistryFoldersTest, PutAsideEveryDamagedFileUnderItsOwnName) {
    enter("a");
    overwriteFile("first, not a database");
    expectPutAside("first, not a database", file + ".damaged-1");
    overwriteFile("second, not a database");
    expectPutAside("second, not a database", file + ".damaged-2");
    EXPECT_EQ(tarn::test::readFile(file + ".damaged-1"), "first, not a database");
}

TEST_F(RegistryFoldersTest, PutAsideADatabaseWithDamagedPages) {
    for (int i = 0; i < 200; ++i) {
        enter(std::to_string(i));
    }
    auto content = tarn::test::readFile(file);
    ASSERT_GT(content.size(), 3 * 4096U);
    content.replace(4096, 8192, std::string(8192, '\x5a'));
    overwriteFile(content);
    expectPutAside(content, file + ".damaged-1");
}

TEST_F(RegistryFoldersTest, PutAsideATruncatedDatabase) {
    for (int i = 0; i < 200; ++i) {
        enter(std::to_string(i));
    }
    const auto content = tarn::test::readFile(file).substr(0, 6000);
    overwriteFile(content);
    expectPutAside(content, file + ".damaged-1");
}

TEST_F(RegistryFoldersTest, PutAsideADatabaseWithARecordThatCannotBeRead) {
    enter("a");
    SQLite::Database(file, SQLite::OPEN_READWRITE).exec("UPDATE jobs SET record=x'ffff'");
    expectPutAside(tarn::test::readFile(file), file + ".damaged-1");
}

TEST_F(RegistryFoldersTest, BeginANewRegistryInAnEmptyFile) {
    enter("a");
    overwriteFile("");
    EXPECT_THAT(folder.open(endpoint).contents.jobs, IsEmpty());
    enter("b");
    EXPECT_THAT(idsOf(folder.open(endpoint).contents.jobs), ElementsAre("b"));
}

TEST_F(RegistryFoldersTest, LeaveAFileAloneThatSomebodyHolds) {
    enter("a");
    SQLite::Database other(file, SQLite::OPEN_READWRITE);
    SQLite::Transaction held(other, SQLite::TransactionBehavior::EXCLUSIVE);
    EXPECT_FALSE(folder.open(endpoint).store);
    EXPECT_TRUE(log.contains("ERROR ResourceManager > Cannot keep the registry in " + file));
    EXPECT_FALSE(fs::exists(file + ".damaged-1"));
}

// A reader could hold the file's lock, and keep the service from storing anything.
TEST_F(RegistryFoldersTest, AreClosedToEverybodyElse) {
    const auto modeOf = [](const fs::path& path) { return fs::status(path).permissions(); };
    enter("a");
    EXPECT_EQ(modeOf(file), fs::perms(0600));
    EXPECT_EQ(modeOf(file + "-journal"), fs::perms(0600));
    EXPECT_EQ(modeOf(fs::path(file).parent_path()), fs::perms(0750));
}

TEST_F(RegistryFoldersTest, OfAnOlderVersionAreClosed) {
    enter("a");
    fs::permissions(file, fs::perms(0644));
    fs::permissions(file + "-journal", fs::perms(0644));
    fs::permissions(fs::path(file).parent_path(), fs::perms(0777));
    enter("b");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file + "-journal").permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(fs::path(file).parent_path()).permissions(), fs::perms(0750));
}

TEST_F(RegistryFoldersTest, FallBackToMemoryWhereNothingCanBeWritten) {
    const RegistryFolder nowhere(temporary.write("file", ""));
    const auto opened = nowhere.open(endpoint);
    EXPECT_FALSE(opened.store);
    EXPECT_THAT(opened.contents.jobs, IsEmpty());
    EXPECT_TRUE(log.contains("it is lost when the service ends"));
}

}  // namespace tarn::resource_manager
