#include "platform/resource_manager/registry/RegistryFile.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <chrono>
#include <optional>

#include "tests/platform/resource_manager/Pipe.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

using namespace std::string_literals;

using test::idsOf;
using test::jobOf;
using test::refusalOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RegistryFilesTest : public testing::Test {
  protected:
    static RegistryChange entering(const RunningJob& job) {
        return {.removed = {}, .entered = job, .deltacastConfiguration = {}};
    }

    std::string path() const { return (folder.path() / "jobs.registry").string(); }
    RegistryContents reread() const { return RegistryFile(path()).load(); }

    tarn::test::TemporaryFolder folder;
};

TEST_F(RegistryFilesTest, BeginsEmpty) {
    const auto contents = reread();
    EXPECT_THAT(contents.jobs, IsEmpty());
    EXPECT_FALSE(contents.deltacastConfiguration);
}

TEST_F(RegistryFilesTest, KeepsJobsInTheirOrderWithEverythingTheySaid) {
    RegistryFile file(path());
    file.apply(entering(jobOf({1, 2}, "b", {{"Endpoint", {"tcp://h:1", ""}}, {"x'; --", {}}})));
    file.apply(entering(jobOf({3, 4}, "a")));
    const auto contents = reread();
    ASSERT_THAT(idsOf(contents.jobs), ElementsAre("b", "a"));
    EXPECT_EQ(contents.jobs[0].getProcess(), (os::ProcessIdentity{1, 2}));
    EXPECT_EQ(contents.jobs[0].getResources(),
              (RunningJob::Resources{{"Endpoint", {"tcp://h:1", ""}}, {"x'; --", {}}}));
    EXPECT_EQ(contents.jobs[0].getCommandEndpoint(), "ipc:///tmp/commands-b");
    EXPECT_EQ(contents.jobs[0].getJobDescription().getName(), "name of b");
}

TEST_F(RegistryFilesTest, KeepsWhateverAnIdHolds) {
    const auto odd = "'\"; DROP TABLE jobs;\0\xc3\xa9\n"s;
    RegistryFile file(path());
    file.apply(entering(jobOf({1, 2}, odd)));
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre(odd));
    file.apply({.removed = {odd}, .entered = {}, .deltacastConfiguration = {}});
    EXPECT_THAT(reread().jobs, IsEmpty());
}

TEST_F(RegistryFilesTest, ReplacesAJobAtItsPlaceOrMovesARemovedOneToTheEnd) {
    RegistryFile file(path());
    file.apply(entering(jobOf({1, 1}, "a")));
    file.apply(entering(jobOf({1, 1}, "b")));
    file.apply(entering(jobOf({2, 2}, "a")));
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre("a", "b"));
    EXPECT_EQ(reread().jobs[0].getProcess(), (os::ProcessIdentity{2, 2}));
    file.apply({.removed = {"a"}, .entered = jobOf({3, 3}, "a"), .deltacastConfiguration = {}});
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre("b", "a"));
}

TEST_F(RegistryFilesTest, KeepsTheLastCaptureConfiguration) {
    RegistryFile file(path());
    for (const auto rate : {25U, 50U}) {
        file.apply({.removed = {},
                    .entered = {},
                    .deltacastConfiguration =
                        DeltacastConfiguration("rgb24", "1 ", "0 ", 720, "p", rate)});
    }
    EXPECT_EQ(reread().deltacastConfiguration,
              DeltacastConfiguration("rgb24", "1 ", "0 ", 720, "p", 50));
}

TEST_F(RegistryFilesTest, CanBeReplacedAsAWhole) {
    RegistryFile file(path());
    file.apply({.removed = {},
                .entered = jobOf({1, 1}, "old"),
                .deltacastConfiguration = DeltacastConfiguration()});
    file.replace({.jobs = {jobOf({1, 1}, "b"), jobOf({1, 1}, "a")}, .deltacastConfiguration = {}});
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre("b", "a"));
    EXPECT_FALSE(reread().deltacastConfiguration);
}

TEST_F(RegistryFilesTest, GivesUpWithinASecondWhileSomebodyHoldsTheFile) {
    RegistryFile file(path());
    SQLite::Database other(path(), SQLite::OPEN_READWRITE);
    std::optional<SQLite::Transaction> held(std::in_place, other,
                                            SQLite::TransactionBehavior::EXCLUSIVE);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(refusalOf([&] { file.apply(entering(jobOf({1, 1}, "a"))); }), HasSubstr("locked"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    held.reset();
    file.apply(entering(jobOf({1, 1}, "a")));
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre("a"));
}

TEST_F(RegistryFilesTest, IsReplacedOnlyWhenNobodyHoldsTheFileAndDoesNotWaitForIt) {
    RegistryFile file(path());
    SQLite::Database other(path(), SQLite::OPEN_READWRITE);
    std::optional<SQLite::Transaction> held(std::in_place, other,
                                            SQLite::TransactionBehavior::EXCLUSIVE);
    const RegistryContents all{.jobs = {jobOf({1, 1}, "a")}, .deltacastConfiguration = {}};
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) {
        EXPECT_THAT(refusalOf([&] { file.replace(all); }), HasSubstr("locked"));
    }
    // Ten waits would be ten seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
    held.reset();
    file.replace(all);
    EXPECT_THAT(idsOf(reread().jobs), ElementsAre("a"));
}

TEST_F(RegistryFilesTest, RefusesWhatIsNoRegistry) {
    folder.write("jobs.registry", std::string(5000, 'x'));
    EXPECT_THAT(refusalOf([&] { RegistryFile file(path()); }), HasSubstr("not a database"));
}

TEST_F(RegistryFilesTest, RefusesAnotherDatabaseAndAnotherVersion) {
    SQLite::Database(path(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
        .exec("CREATE TABLE other(x)");
    EXPECT_EQ(refusalOf([&] { RegistryFile file(path()); }), "not a registry of this version");
    SQLite::Database(path(), SQLite::OPEN_READWRITE)
        .exec("DROP TABLE other; PRAGMA user_version=2");
    EXPECT_EQ(refusalOf([&] { RegistryFile file(path()); }), "not a registry of this version");
}

TEST_F(RegistryFilesTest, RefusesARecordThatCannotBeRead) {
    RegistryFile file(path());
    SQLite::Database(path(), SQLite::OPEN_READWRITE)
        .exec("INSERT INTO jobs(job_id, record) VALUES('a', x'ffffff')");
    EXPECT_EQ(refusalOf([&] { file.load(); }), "a record cannot be read");
}

// The writer's file always holds exactly one job, whatever moment it is killed at.
TEST_F(RegistryFilesTest, AreConsistentAfterTheirWriterWasKilled) {
    for (int round = 0; round < 10; ++round) {
        const test::Pipe progress;
        tarn::test::ForkedProcess writer([&] {
            RegistryFile file(path());
            for (int i = 0;; ++i) {
                const auto contents = file.load();
                file.apply(
                    {.removed = idsOf(contents.jobs),
                     .entered = jobOf({1, 1}, std::to_string(i), {{"Endpoint", {"tcp://h:1"}}}),
                     .deltacastConfiguration = {}});
                progress.signal();
            }
        });
        for (int changes = 0; changes < 20 + round; ++changes) {
            ASSERT_TRUE(progress.wait());
        }
        writer.killAndReap();
        EXPECT_EQ(reread().jobs.size(), 1U);
    }
}

}  // namespace tarn::resource_manager
