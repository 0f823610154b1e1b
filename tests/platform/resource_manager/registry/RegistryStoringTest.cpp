#include <gmock/gmock.h>

#include <algorithm>

#include "platform/resource_manager/registry/Registry.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/LogCapture.h"

namespace tarn::resource_manager {

using test::deadJob;
using test::idsOf;
using test::jobOfThisProcess;
using testing::ElementsAre;

namespace {

struct Disk {
    RegistryContents contents;
    bool full = false;
    int changes = 0;
    int replacements = 0;
    int refusals = 0;
};

class FakeStore : public RegistryStore {
  public:
    explicit FakeStore(Disk& disk) : disk(disk) {}

    void apply(const RegistryChange& change) override {
        requireSpace();
        disk.contents.apply(change);
        ++disk.changes;
    }
    void replace(const RegistryContents& contents) override {
        requireSpace();
        disk.contents = contents;
        ++disk.replacements;
    }

  private:
    void requireSpace() const {
        if (disk.full) {
            ++disk.refusals;
            throw std::runtime_error("disk full");
        }
    }

    Disk& disk;
};

}  // namespace

class RegistryStoringTest : public testing::Test {
  protected:
    static constexpr auto failed =
        "ERROR ResourceManager > Cannot store a change of the registry: disk full";

    /// As when somebody held the store for a moment.
    void registerWhileFull(const std::string& id) {
        disk.full = true;
        registry.registerJob(jobOfThisProcess(id));
        disk.full = false;
    }

    Disk disk;
    Registry::Clock::time_point now;
    Registry registry{{.jobs = {deadJob("dead", {"tcp://h:1"})}, .deltacastConfiguration = {}},
                      std::make_unique<FakeStore>(disk),
                      {},
                      [this] { return now; }};
    const os::ProcessIdentity self = os::ProcessIdentity::ofThisProcess();
};

TEST_F(RegistryStoringTest, WritesEachChangeAtOnceAsOne) {
    disk.contents.jobs = {deadJob("dead", {"tcp://h:1"})};
    registry.registerJob(jobOfThisProcess("a", {"tcp://h:1"}));
    EXPECT_EQ(disk.changes, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("a"));
    registry.setDeltacastConfiguration({"rgb24", "", "", 720, "p", 50});
    EXPECT_EQ(disk.contents.deltacastConfiguration->getLineCount(), 720U);
    registry.unregisterJob("a", self);
    EXPECT_THAT(disk.contents.jobs, testing::IsEmpty());
    EXPECT_EQ(disk.changes, 3);
}

TEST_F(RegistryStoringTest, WritesNothingWhenNothingChanges) {
    registry.clearDeadProcesses();
    EXPECT_EQ(disk.changes, 1);
    registry.clearDeadProcesses();
    registry.unregisterJob("unknown", self);
    test::refusalOf([&] { registry.registerJob(deadJob("a")); });
    EXPECT_EQ(disk.changes, 1);
}

TEST_F(RegistryStoringTest, GoesOnInMemoryWhileNothingCanBeWrittenAndCatchesUpLater) {
    const tarn::test::LogCapture log;
    disk.full = true;
    registry.registerJob(jobOfThisProcess("a"));
    EXPECT_TRUE(log.has(failed));
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("dead", "a"));
    disk.full = false;
    registry.registerJob(jobOfThisProcess("b"));
    EXPECT_EQ(disk.replacements, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("dead", "a", "b"));
    registry.registerJob(jobOfThisProcess("c"));
    EXPECT_EQ(disk.changes, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("dead", "a", "b", "c"));
}

TEST_F(RegistryStoringTest, StoresWhatIsMissingWhenSomebodyComesByASecondLater) {
    registerWhileFull("a");
    registry.storeWhatIsMissing();
    EXPECT_EQ(disk.replacements, 0);
    now += std::chrono::seconds(1);
    registry.storeWhatIsMissing();
    EXPECT_EQ(disk.replacements, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("dead", "a"));
    now += std::chrono::seconds(1);
    registry.storeWhatIsMissing();
    EXPECT_EQ(disk.replacements, 1);
}

TEST_F(RegistryStoringTest, StoresWhatIsMissingWhenTheDeadAreCleared) {
    registry.clearDeadProcesses();
    registry.registerJob(jobOfThisProcess("a"));
    disk.full = true;
    registry.unregisterJob("a", self);
    disk.full = false;
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("a"));
    now += std::chrono::seconds(2);
    registry.clearDeadProcesses();
    EXPECT_THAT(idsOf(disk.contents.jobs), testing::IsEmpty());
}

TEST_F(RegistryStoringTest, TriesAgainEachSecondAndSaysSoOnce) {
    const tarn::test::LogCapture log;
    registerWhileFull("a");
    disk.full = true;
    for (int second = 0; second < 3; ++second) {
        now += std::chrono::seconds(1);
        registry.storeWhatIsMissing();
        registry.storeWhatIsMissing();
    }
    EXPECT_EQ(disk.refusals, 4);
    const auto lines = log.lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), failed), 1);
    disk.full = false;
    now += std::chrono::seconds(1);
    registry.storeWhatIsMissing();
    EXPECT_TRUE(log.has("INFO ResourceManager > The registry is stored again"));
}

TEST_F(RegistryStoringTest, WritesNothingOnceClosed) {
    registerWhileFull("a");
    registry.close();
    now += std::chrono::seconds(1);
    test::refusalOf([&] { registry.clearDeadProcesses(); });
    EXPECT_EQ(disk.changes, 0);
    EXPECT_EQ(disk.replacements, 0);
}

}  // namespace tarn::resource_manager
