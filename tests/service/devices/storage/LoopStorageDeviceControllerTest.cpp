#include "service/devices/storage/LoopStorageDeviceController.h"

#include "tests/service/devices/support/LoopStorageBed.h"

namespace tarn::service::devices {

using device_tree::DeviceClass;
using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using device_tree::NamedStatus;
using device_tree::Property;
using std::chrono::seconds;
using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::StatusChangeEvent;
using test::Event;
using test::propertyOf;
using test::statusOf;

namespace {

void put(DeviceNode& node, const std::string& name, const std::string& value) {
    node.addProperty(Property(name, Property::Type::Text, value));
}

void put(DeviceNode& parent, const DeviceNode& child) {
    std::string error;
    EXPECT_TRUE(parent.addSubDevice(std::make_shared<DeviceNode>(child), false, error)) << error;
}

}  // namespace

class LoopStorageDeviceControllerTest : public test::LoopStorageBed {
  protected:
    static DeviceNode storageNode(std::int64_t space) {
        DeviceNode node(id, "LoopStorage", DeviceClass::LoopStorage);
        put(node, "ConnectionType", "unix");
        put(node, "Interface", path);
        node.addStatus(NamedStatus("RemainingSpace", space));
        return node;
    }

    DeviceNode track(std::size_t event, std::int64_t number) {
        const auto found = added(event).getDeviceById(id + ("_track_" + std::to_string(number)));
        return found ? *found : DeviceNode("absent", "absent", DeviceClass::Generic);
    }
};

TEST_F(LoopStorageDeviceControllerTest, DescribesAStorageWithoutTracks) {
    storage.hasSpace(5000000000);
    watch();
    EXPECT_TRUE(added(0) == storageNode(5000000000)) << added(0).debugString(0);
}

TEST_F(LoopStorageDeviceControllerTest, DescribesATrackWithAllThatTheServerSaysOfIt) {
    storage.hasSpace(7);
    storage.has({.size = 5000000000,
                 .properties = {{"Camera", "1"}, {"Name", "studio"}},
                 .beginning = -5,
                 .end = 9000000000});
    storage.has({TARN_STORAGE_WORKER_READER, 0, "player"});
    storage.has({TARN_STORAGE_WORKER_WRITER, 0, "recorder"});
    watch();

    DeviceNode wantedTrack(id + std::string("_track_0"), "LoopStorageTrack", DeviceClass::Generic);
    put(wantedTrack, "TrackId", "0");
    put(wantedTrack, "Camera", "1");
    put(wantedTrack, "Name", "studio");
    put(wantedTrack, "Size", "5000000000");
    wantedTrack.addStatus(NamedStatus("NumReaders", std::uint64_t{1}));
    wantedTrack.addStatus(NamedStatus("NumWriters", std::uint64_t{1}));
    wantedTrack.addStatus(NamedStatus("ReadersList", std::string("player")));
    wantedTrack.addStatus(NamedStatus("WritersList", std::string("recorder")));
    wantedTrack.addStatus(NamedStatus("StartTimepoint", std::int64_t{-5}));
    wantedTrack.addStatus(NamedStatus("EndTimepoint", std::int64_t{9000000000}));
    auto wanted = storageNode(7);
    put(wanted, wantedTrack);
    EXPECT_TRUE(added(0) == wanted) << added(0).debugString(0);
}

TEST_F(LoopStorageDeviceControllerTest, ShowsATrackThatCannotBeUsedInErrorWithTheReason) {
    storage.has({.size = 5});
    storage.has({.size = 6, .failure = "index does not tell what the track is"});
    storage.has({.size = 7, .failure = "Cannot sync data.0: Input/output error"});
    watch();
    EXPECT_EQ(track(0, 0).getGlobalStatus(), GlobalStatus());
    EXPECT_EQ(track(0, 1).getGlobalStatus(),
              GlobalStatus(GlobalStatus::Level::Error, "index does not tell what the track is"));
    EXPECT_EQ(propertyOf(track(0, 1), "Size"), "6");
    EXPECT_EQ(track(0, 2).getGlobalStatus(),
              GlobalStatus(GlobalStatus::Level::Error, "Cannot sync data.0: Input/output error"));
}

TEST_F(LoopStorageDeviceControllerTest, TellsHowOftenTheDiskOfATrackHasFailedOnceItHas) {
    storage.has(test::FakeStorage::Track{});
    storage.has({.size = 1, .errors = 17});
    watch();
    EXPECT_EQ(statusOf(track(0, 0), "DiskErrors"), "absent");
    EXPECT_EQ(statusOf(track(0, 1), "DiskErrors"), "17");
}

TEST_F(LoopStorageDeviceControllerTest, NamesAStorageOnTcpAfterItsPortToo) {
    const test::FakeStorage remote("studio", 4711);
    const Controller watching("studio", 4711, dependencies());
    pause.await();
    const auto node = added(0);
    EXPECT_EQ(node.getId(), "Storage-tcp-studio:4711");
    EXPECT_EQ(propertyOf(node, "ConnectionType"), "tcp");
    EXPECT_EQ(propertyOf(node, "Interface"), "studio");
    EXPECT_EQ(propertyOf(node, "Port"), "4711");
    EXPECT_EQ(watching.messageHeader(), "LoopStorageDeviceController on studio:4711");
}

TEST_F(LoopStorageDeviceControllerTest, IsNamedAfterThePathOfAUnixSocket) {
    watch();
    EXPECT_EQ(controller->messageHeader(), "LoopStorageDeviceController on /run/loops");
    EXPECT_EQ(propertyOf(added(0), "Port"), "absent");
}

TEST_F(LoopStorageDeviceControllerTest, CountsWorkersByKindAndNamesEachOnceInOrder) {
    storage.has(test::FakeStorage::Track{});
    storage.has(test::FakeStorage::Track{});
    for (const char* const name : {"b", "a", "b", "B"}) {
        tarn_storage_worker_info worker{TARN_STORAGE_WORKER_READER, 0, ""};
        worker.name[0] = name[0];
        storage.has(worker);
    }
    storage.has({TARN_STORAGE_WORKER_OTHER, 0, "inspector"});
    storage.has({3, 0, "unheard of"});
    storage.has({TARN_STORAGE_WORKER_WRITER, 1, "12345678901234567890"});
    watch();
    EXPECT_EQ(statusOf(track(0, 0), "NumReaders"), "4");
    EXPECT_EQ(statusOf(track(0, 0), "ReadersList"), "B,a,b");
    EXPECT_EQ(statusOf(track(0, 0), "NumWriters"), "0");
    EXPECT_EQ(statusOf(track(0, 0), "WritersList"), "");
    EXPECT_EQ(statusOf(track(0, 1), "NumReaders"), "0");
    EXPECT_EQ(statusOf(track(0, 1), "WritersList"), "12345678901234567890");
}

TEST_F(LoopStorageDeviceControllerTest, SaysMinusOneWhenTheRemainingSpaceIsNotTold) {
    storage.fails("tarn_storage_get_remaining_space", "not now");
    storage.has(test::FakeStorage::Track{});
    watch();
    EXPECT_EQ(statusOf(added(0), "RemainingSpace"), "-1");
    EXPECT_EQ(added(0).size(), 2U);
}

TEST_F(LoopStorageDeviceControllerTest, LetsNoPropertyOfAClientHideWhatTheServerSays) {
    storage.has({.size = 100, .properties = {{"Size", "7"}, {"TrackId", "8"}, {"Z", "9"}}});
    watch();
    EXPECT_EQ(propertyOf(track(0, 0), "Size"), "100");
    EXPECT_EQ(propertyOf(track(0, 0), "TrackId"), "0");
    EXPECT_EQ(propertyOf(track(0, 0), "Z"), "9");
    EXPECT_TRUE(log.contains(line("ERROR", "Failed setting property: ")));
}

TEST_F(LoopStorageDeviceControllerTest, PollsEverySecondOverAConnectionOfItsOwn) {
    watch();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(storage.connectionsMade(), 3U);
    EXPECT_EQ(storage.openConnections(), 0U);
}

TEST_F(LoopStorageDeviceControllerTest, TellsTheVersionOfTheClientLibrary) {
    watch();
    EXPECT_TRUE(log.has(line("INFO", "Storage API version 7.8.9")));
}

TEST_F(LoopStorageDeviceControllerTest, SendsWhatHasChangedAndNothingElse) {
    storage.hasSpace(10);
    for (int i = 0; i < 100; ++i) {
        storage.has({.size = 1, .properties = {{"Name", std::to_string(i)}}});
    }
    watch();
    next();  // nothing has changed
    storage.hasSpace(9);
    next();
    const auto change = event(1).GetExtension(StatusChangeEvent::base);
    EXPECT_EQ(event(1).type(), Event::STATUS_CHANGE);
    ASSERT_EQ(change.named_status_changes_size(), 1);
    EXPECT_EQ(change.named_status_changes(0).device_id(), id);
    EXPECT_EQ(change.named_status_changes(0).status().name(), "RemainingSpace");
    EXPECT_EQ(change.named_status_changes(0).status().signed_value(), 9);
}

TEST_F(LoopStorageDeviceControllerTest, ShowsTracksThatComeAndGo) {
    watch();
    storage.has(test::FakeStorage::Track{});
    next();
    EXPECT_EQ(changed(1).size(), 2U);
}

TEST_F(LoopStorageDeviceControllerTest, TriesAServerThatIsNotThereAgainAfterFiveSeconds) {
    storage.goesDown();
    watch();
    EXPECT_EQ(pause.await(), seconds(5));
    EXPECT_EQ(next(), seconds(5));
    EXPECT_TRUE(log.has(line("ERROR", "The storage server has gone")));
    storage.comesBack();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(added(0).getId(), id);
}

TEST_F(LoopStorageDeviceControllerTest, TakesAServerThatHasGoneOutOfTheTreeUntilItIsBack) {
    watch();
    storage.goesDown();
    EXPECT_EQ(next(), seconds(5));
    EXPECT_EQ(event(1).type(), Event::DEVICE_REMOVE);
    EXPECT_EQ(event(1).GetExtension(DeviceRemoveEvent::base).device_id(), id);
    storage.comesBack();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(added(2).getId(), id);
}

TEST_F(LoopStorageDeviceControllerTest, StoppingDoesNotEndThePolling) {
    watch();
    controller->stop();
    controller->stop();
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(storage.connectionsMade(), 2U);
}

TEST_F(LoopStorageDeviceControllerTest, DestroyingEndsThePolling) {
    watch();
    controller.reset();
    EXPECT_FALSE(pause.isPausing()) << "somebody still waits to poll again";
    pause.letGo();
    EXPECT_EQ(storage.openConnections(), 0U);
    EXPECT_EQ(storage.connectionsMade(), 1U);
}

TEST_F(LoopStorageDeviceControllerTest, DestroyingDoesNotWaitForAServerThatHangs) {
    watch();
    storage.holds("tarn_storage_track_list_create");
    pause.letGo();
    storage.awaitHeld(1);
    controller.reset();
    EXPECT_EQ(storage.openConnections(), 0U);
    EXPECT_FALSE(log.contains("ERROR"));
}

TEST_F(LoopStorageDeviceControllerTest, StoppingInTheMiddleOfAPollLeavesTheStorageInTheTree) {
    storage.hasSpace(1);
    watch();
    storage.holds("tarn_storage_track_list_create");
    pause.letGo();
    storage.awaitHeld(1);
    controller->stopPollingThread();
    storage.letsGo();
    storage.hasSpace(2);
    controller->startPollingThread();
    pause.await();
    EXPECT_EQ(event(1).type(), Event::STATUS_CHANGE);
}

TEST_F(LoopStorageDeviceControllerTest, CanStartPollingAgain) {
    watch();
    controller->stopPollingThread();
    controller->stopPollingThread();
    controller->startPollingThread();
    pause.await();
    storage.hasSpace(1);
    controller->startPollingThread();
    pause.await();
    EXPECT_EQ(storage.connectionsMade(), 3U);
    EXPECT_EQ(event(1).type(), Event::STATUS_CHANGE);
}

TEST_F(LoopStorageDeviceControllerTest, GivesConnectionsToOthers) {
    watch();
    {
        const auto connection = controller->createConnection();
        EXPECT_TRUE(connection);
        EXPECT_EQ(storage.openConnections(), 1U);
    }
    storage.goesDown();
    EXPECT_FALSE(controller->createConnection());
    EXPECT_TRUE(log.has(line("ERROR", "The storage server has gone")));
    EXPECT_EQ(storage.openConnections(), 0U);
}

/// The calls without which there is no description.
class FailingPollTest : public LoopStorageDeviceControllerTest,
                        public testing::WithParamInterface<const char*> {};

TEST_P(FailingPollTest, TakesTheStorageOutOfTheTreeAndSaysWhy) {
    storage.has(test::FakeStorage::Track{});
    watch();
    storage.fails(GetParam(), "no answer to this");
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(event(1).type(), Event::DEVICE_REMOVE);
    EXPECT_TRUE(log.has(line("ERROR", "no answer to this")));
    EXPECT_EQ(storage.openConnections(), 0U);
    storage.worksAgain(GetParam());
    EXPECT_EQ(next(), seconds(1));
    EXPECT_EQ(added(2).size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailingPollTest,
    testing::Values("tarn_storage_worker_list_create", "tarn_storage_worker_info_list_create",
                    "tarn_storage_track_list_create", "tarn_storage_track_get_properties",
                    "tarn_storage_track_get_size", "tarn_storage_track_get_beginning",
                    "tarn_storage_track_get_end", "tarn_storage_track_get_errors"),
    [](const auto& call) { return std::string(call.param); });

}  // namespace tarn::service::devices
