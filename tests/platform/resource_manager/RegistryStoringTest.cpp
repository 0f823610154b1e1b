#include <gmock/gmock.h>

#include "platform/resource_manager/Registry.h"
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
            throw std::runtime_error("disk full");
        }
    }

    Disk& disk;
};

}  // namespace

class RegistryStoring : public testing::Test {
  protected:
    Disk disk;
    Registry registry{{.jobs = {deadJob("dead", {"tcp://h:1"})}, .deltacastConfiguration = {}},
                      std::make_unique<FakeStore>(disk)};
    const ProcessIdentity self = ProcessIdentity::ofThisProcess();
};

TEST_F(RegistryStoring, WritesEachChangeAtOnceAsOne) {
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

TEST_F(RegistryStoring, WritesNothingWhenNothingChanges) {
    registry.clearDeadProcesses();
    EXPECT_EQ(disk.changes, 1);
    registry.clearDeadProcesses();
    registry.unregisterJob("unknown", self);
    test::refusalOf([&] { registry.registerJob(deadJob("a")); });
    EXPECT_EQ(disk.changes, 1);
}

TEST_F(RegistryStoring, GoesOnInMemoryWhileNothingCanBeWrittenAndCatchesUpLater) {
    const tarn::test::LogCapture log;
    disk.full = true;
    registry.registerJob(jobOfThisProcess("a"));
    EXPECT_TRUE(
        log.has("ERROR ResourceManager > Cannot store a change of the registry: disk full"));
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("dead", "a"));
    disk.full = false;
    registry.registerJob(jobOfThisProcess("b"));
    EXPECT_EQ(disk.replacements, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("dead", "a", "b"));
    registry.registerJob(jobOfThisProcess("c"));
    EXPECT_EQ(disk.changes, 1);
    EXPECT_THAT(idsOf(disk.contents.jobs), ElementsAre("dead", "a", "b", "c"));
}

TEST_F(RegistryStoring, WritesNothingOnceClosed) {
    registry.close();
    test::refusalOf([&] { registry.clearDeadProcesses(); });
    EXPECT_EQ(disk.changes, 0);
}

}  // namespace tarn::resource_manager
