#include "service/devices/processor/CpuDeviceController.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/devices/support/ManualPause.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using std::chrono::seconds;
using tarn::proto::monitoring::ConfigurationChangeEvent;
using tarn::proto::monitoring::DeviceAddEvent;
using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::StatusChangeEvent;
using test::Event;

class CpuDeviceControllerTest : public testing::Test {
  protected:
    void counters(const std::string& line) { folder.write("stat", line + "\ncpu0 9 9 9\n"); }

    /// Takes a sample of what the file now holds.
    void sample() { pause.next(); }

    Event event(std::size_t number) { return recorder.waitFor(number + 1)[number]; }
    DeviceNode added(std::size_t number) {
        EXPECT_EQ(event(number).type(), Event::DEVICE_ADD);
        return DeviceNode(event(number).GetExtension(DeviceAddEvent::base).device());
    }
    static double usageOf(const DeviceNode& node) {
        return std::get<double>(node.getStatus("CPUUsage")->getValue());
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    test::EventRecorder recorder;
    test::ManualPause pause;
    CpuDeviceController cpu{(folder.path() / "stat").string(), pause.function()};
    double busy = -1;
    double total = -1;
};

TEST_F(CpuDeviceControllerTest, SumsTheCounters) {
    counters("cpu  1 2 4 8 16 32 64 128 256 512");
    ASSERT_TRUE(cpu.getCurrentJiffies(busy, total));
    EXPECT_EQ(busy, 7);
    EXPECT_EQ(total, 1023);
}

TEST_F(CpuDeviceControllerTest, CountsWhatIsMissingAsZero) {
    counters("cpu 1 2 4 8");
    ASSERT_TRUE(cpu.getCurrentJiffies(busy, total));
    EXPECT_EQ(busy, 7);
    EXPECT_EQ(total, 15);
    counters("");
    ASSERT_TRUE(cpu.getCurrentJiffies(busy, total));
    EXPECT_EQ(total, 0);
}

TEST_F(CpuDeviceControllerTest, CannotReadAFileThatIsMissing) {
    EXPECT_FALSE(cpu.getCurrentJiffies(busy, total));
}

TEST_F(CpuDeviceControllerTest, ReadsThisMachinesOwnCounters) {
    const CpuDeviceController real;
    ASSERT_TRUE(real.getCurrentJiffies(busy, total));
    EXPECT_GT(total, 0);
    EXPECT_GE(total, busy);
}

TEST_F(CpuDeviceControllerTest, PublishesTheUsageOfTheLastSecond) {
    counters("cpu 100 0 0 100");
    cpu.startPollingThread();
    EXPECT_EQ(pause.await(), seconds(1));
    counters("cpu 110 5 5 160");
    sample();
    const auto node = added(0);
    EXPECT_EQ(node.getId(), "CPU");
    EXPECT_EQ(node.getName(), "CPU - experimental");
    EXPECT_EQ(node.getDeviceClass(), device_tree::DeviceClass::Generic);
    EXPECT_DOUBLE_EQ(usageOf(node), 25);
    counters("cpu 110 5 5 170");
    sample();
    const auto change = event(1);
    ASSERT_EQ(change.type(), Event::STATUS_CHANGE);
    EXPECT_EQ(change.GetExtension(StatusChangeEvent::base)
                  .named_status_changes(0)
                  .status()
                  .double_value(),
              0);
}

TEST_F(CpuDeviceControllerTest, GivesZeroAsTheNumberOfProcessors) {
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    sample();
    const auto node = added(0);
    ASSERT_NE(node.getProperty("NumCPUs"), nullptr);
    EXPECT_EQ(*node.getProperty("NumCPUs"),
              device_tree::Property("NumCPUs", device_tree::Property::Type::Text, "0"));
}

TEST_F(CpuDeviceControllerTest, HasNoUsageWhileTheCountersStandStill) {
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    sample();
    EXPECT_EQ(added(0).getStatus("CPUUsage"), nullptr);
}

TEST_F(CpuDeviceControllerTest, IsFullyUsedWhenOnlyBusyTimeGrows) {
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    pause.await();
    counters("cpu 2 3 4 1");
    sample();
    EXPECT_DOUBLE_EQ(usageOf(added(0)), 100);
}

TEST_F(CpuDeviceControllerTest, EndsForGoodWhenTheCountersAreMissingAtItsStart) {
    const std::stop_token never;
    cpu.pollingThreadFunction(never);  // returns
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    sample();
    EXPECT_EQ(added(0).getId(), "CPU");
}

TEST_F(CpuDeviceControllerTest, LeavesTheTreeWhileTheCountersCannotBeRead) {
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    sample();
    std::filesystem::remove(folder.path() / "stat");
    sample();
    ASSERT_EQ(event(1).type(), Event::DEVICE_REMOVE);
    EXPECT_EQ(event(1).GetExtension(DeviceRemoveEvent::base).device_id(), "CPU");
    counters("cpu 4 0 0 4");
    sample();
    EXPECT_DOUBLE_EQ(usageOf(added(2)), 50);  // since the last sample that could be read
}

TEST_F(CpuDeviceControllerTest, StopsInItsPauseAndTwice) {
    counters("cpu 1 0 0 1");
    cpu.startPollingThread();
    pause.await();
    cpu.stop();
    cpu.stop();
    EXPECT_EQ(cpu.messageHeader(), "CPU monitor");
}

}  // namespace tarn::service::devices
