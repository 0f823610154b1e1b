#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/support/Process.h"
#include "tests/system/storage/LoopStorage.h"
#include "tests/system/storage/TrackWorker.h"

namespace tarn::test {

namespace {

using namespace proto::loop_storage;
using namespace std::chrono_literals;
using namespace storage_requests;
using Clock = std::chrono::steady_clock;
using testing::HasSubstr;

constexpr auto noConnection = "No connection to storage server";

std::string transportName(const testing::TestParamInfo<Over>& transport) {
    return transport.param == Over::Tcp ? "Tcp" : "UnixSocket";
}

/// Both ways to reach the server.
class LoopStorageOverTest : public LoopStorageTest, public testing::WithParamInterface<Over> {
  protected:
    void begin() { startServiceWithStorage(GetParam()); }
    std::string id() const { return storageId(GetParam()); }
};

TEST_P(LoopStorageOverTest, IsDescribedWithItsTracks) {
    begin();
    const auto track = storage_requests::createTrack(megabyte);
    const auto number = end(take(track)).GetExtension(GetTicketStatusReply::base).track_id();
    EXPECT_TRUE(ask(setProperties(number, {{"Name", "studio"}, {"Camera", "2"}})).success());
    const auto space = ask(remainingSpace()).GetExtension(GetRemainingSpaceReply::base);
    const auto trackId = id() + "_track_" + std::to_string(number);
    ASSERT_TRUE(eventually([&] {
        const auto found = node(trackId);
        return found && propertyOf(*found, "Camera") == "2";
    }));

    const auto storage = *node(id());
    EXPECT_EQ(storage.name(), "LoopStorage");
    EXPECT_EQ(storage.device_class(), DeviceNode::LOOP_STORAGE);
    EXPECT_EQ(storage.properties_size(), GetParam() == Over::Tcp ? 3 : 2);
    EXPECT_EQ(propertyOf(storage, "ConnectionType"), GetParam() == Over::Tcp ? "tcp" : "unix");
    EXPECT_EQ(propertyOf(storage, "Interface"), GetParam() == Over::Tcp ? "127.0.0.1" : socketPath);
    EXPECT_EQ(propertyOf(storage, "Port"), GetParam() == Over::Tcp ? "20300" : "absent");
    EXPECT_EQ(storage.statuses_size(), 1);
    EXPECT_GT(space.remaining_space(), 0);
    EXPECT_GT(std::stoll(statusOf(storage, "RemainingSpace")), 0);
    ASSERT_EQ(storage.sub_devices_size(), 1);

    const auto& described = storage.sub_devices(0);
    EXPECT_EQ(described.id(), trackId);
    EXPECT_EQ(described.name(), "LoopStorageTrack");
    EXPECT_EQ(described.device_class(), DeviceNode::GENERIC);
    EXPECT_EQ(described.properties_size(), 4);
    EXPECT_EQ(propertyOf(described, "TrackId"), std::to_string(number));
    EXPECT_EQ(propertyOf(described, "Name"), "studio");
    const auto size = ask(trackSize(number)).GetExtension(GetTrackSizeReply::base).size();
    EXPECT_GE(size, static_cast<std::int64_t>(megabyte));
    EXPECT_EQ(propertyOf(described, "Size"), std::to_string(size));
    EXPECT_EQ(described.statuses_size(), 6);
    EXPECT_EQ(statusOf(described, "NumReaders"), "0");
    EXPECT_EQ(statusOf(described, "NumWriters"), "0");
    EXPECT_EQ(statusOf(described, "ReadersList"), "");
    EXPECT_EQ(statusOf(described, "WritersList"), "");
    EXPECT_EQ(statusOf(described, "StartTimepoint"), "-1");
    EXPECT_EQ(statusOf(described, "EndTimepoint"), "-1");
}

TEST_P(LoopStorageOverTest, ATrackThatCannotBeOpenedIsInErrorUntilItIsDestroyed) {
    begin();
    createTrack(megabyte);
    const auto track = createTrack(megabyte);
    const auto trackId = id() + "_track_" + std::to_string(track);
    storageServer().signal(SIGTERM);
    storageServer().waitForEnd(10s);
    std::filesystem::remove(std::string(tracksFolder) + "/track-" + std::to_string(track) +
                            "/data.0");
    startStorage(GetParam());

    const auto inError = [&] {
        const auto found = node(trackId);
        return found && found->global_status().level() == proto::monitoring::GlobalStatus::ERROR;
    };
    ASSERT_TRUE(eventually(inError, 15s));
    EXPECT_THAT(node(trackId)->global_status().description(),
                HasSubstr("data.0: No such file or directory"));
    EXPECT_THROW(TrackReader(addressOf(GetParam()), track, "player"), std::exception);
    const auto resized = end(take(resizeTrack(track, 2 * megabyte)));
    EXPECT_FALSE(resized.success());
    EXPECT_THAT(resized.error_message(), HasSubstr("cannot be opened"));
    EXPECT_TRUE(end(take(destroyTrack(track))).success());
    EXPECT_TRUE(eventually([&] { return !node(trackId); }));
    EXPECT_TRUE(node(id()));
}

TEST_P(LoopStorageOverTest, ShowsWhoWritesAndWhoReadsATrack) {
    begin();
    const auto track = createTrack(megabyte);
    const auto trackId = id() + "_track_" + std::to_string(track);
    const auto shows = [&](const std::string& status, const std::string& value) {
        return eventually([&] {
            const auto found = node(trackId);
            return found && statusOf(*found, status) == value;
        });
    };
    {
        TrackWriter writer(addressOf(GetParam()), track, "recorder");
        const TrackReader first(addressOf(GetParam()), track, "play");
        const TrackReader second(addressOf(GetParam()), track, "play");
        const TrackReader third(addressOf(GetParam()), track, "check");
        writer.write(1000, 10);
        writer.write(3000, 10);
        ASSERT_TRUE(shows("EndTimepoint", "3000"));
        const auto described = *node(trackId);
        EXPECT_EQ(statusOf(described, "StartTimepoint"), "1000");
        EXPECT_EQ(statusOf(described, "NumWriters"), "1");
        EXPECT_EQ(statusOf(described, "WritersList"), "recorder");
        EXPECT_EQ(statusOf(described, "NumReaders"), "3");
        EXPECT_EQ(statusOf(described, "ReadersList"), "check,play");
        EXPECT_FALSE(end(take(destroyTrack(track))).success());
    }
    EXPECT_TRUE(shows("NumReaders", "0"));
    EXPECT_TRUE(shows("WritersList", ""));
    EXPECT_TRUE(ask(clearTrack(track)).success());
    EXPECT_TRUE(shows("EndTimepoint", "-1"));
}

// Somebody has cut the file: what lay behind is as unreadable as a bad sector.
TEST_P(LoopStorageOverTest, AFrameThatTheDiskDoesNotGiveCostsThatFrameAndIsShown) {
    begin();
    const auto track = createTrack(megabyte);
    const auto trackId = id() + "_track_" + std::to_string(track);
    TrackWriter writer(addressOf(GetParam()), track, "recorder");
    for (int i = 1; i <= 3; ++i) {
        writer.write(i, 65536);
    }
    std::filesystem::resize_file(
        std::string(tracksFolder) + "/track-" + std::to_string(track) + "/data.0", 100'000);
    TrackReader reader(addressOf(GetParam()), track, "play");
    EXPECT_EQ(reader.read(), "1");
    EXPECT_THAT(reader.read(), HasSubstr("The frame of time point 2 cannot be read"));
    EXPECT_THAT(reader.read(), HasSubstr("The frame of time point 3 cannot be read"));
    EXPECT_EQ(reader.read(), "none");
    writer.write(4, 65536);
    EXPECT_EQ(reader.read(), "4");
    EXPECT_TRUE(eventually([&] {
        const auto found = node(trackId);
        return found && statusOf(*found, "DiskErrors") == "2";
    }));
}

TEST_P(LoopStorageOverTest, AResizingThatReachesAnotherSizeHasFailed) {
    begin();
    const auto track = createTrack(megabyte);
    {
        TrackWriter writer(addressOf(GetParam()), track, "recorder");
        for (int i = 0; i < 8; ++i) {
            writer.write(i, 65536);
        }
    }
    Reply failed;
    const auto writerIsGone = [&] {  // the server notices that a moment later
        failed = end(take(resizeTrack(track, 65536)));
        return failed.error_message().find("use it") == std::string::npos;
    };
    ASSERT_TRUE(eventually(writerIsGone));
    const auto reached = ask(trackSize(track)).GetExtension(GetTrackSizeReply::base).size();
    EXPECT_FALSE(failed.success());
    EXPECT_EQ(failed.error_message(),
              "Size after resize is " + std::to_string(reached) + " while 65536 is expected");
    EXPECT_GT(reached, 65536);
    EXPECT_LT(reached, static_cast<std::int64_t>(megabyte));
}

TEST_P(LoopStorageOverTest, GivesTicketsInOneRowAndDoesWhatTheySay) {
    begin();
    EXPECT_EQ(take(storage_requests::createTrack(megabyte)), 10000001);
    const auto first = end(10000001).GetExtension(GetTicketStatusReply::base);
    EXPECT_EQ(first.status(), TICKET_FINISHED);
    EXPECT_EQ(take(resizeTrack(first.track_id(), 2 * megabyte)), 10000002);
    EXPECT_TRUE(end(10000002).success()) << end(10000002).error_message();
    EXPECT_EQ(ask(trackSize(first.track_id())).GetExtension(GetTrackSizeReply::base).size(),
              2 * static_cast<std::int64_t>(megabyte));
    EXPECT_EQ(take(destroyTrack(first.track_id())), 10000003);
    EXPECT_EQ(end(10000003).GetExtension(GetTicketStatusReply::base).status(), TICKET_FINISHED);
    EXPECT_TRUE(eventually([this] { return node(id())->sub_devices_size() == 0; }));
}

TEST_P(LoopStorageOverTest, LeavesTheTreeWhenItsServerIsKilledAndComesBack) {
    begin();
    const auto track = createTrack(megabyte);
    ASSERT_TRUE(eventually([this] { return node(id())->sub_devices_size() == 1; }));
    storageServer().signal(SIGKILL);
    storageServer().waitForEnd(10s);
    ASSERT_TRUE(eventually([this] { return !node(id()); }, 10s));

    EXPECT_EQ(ask(trackSize(track)).error_message(), noConnection);
    EXPECT_EQ(ask(trackSize(track)).type(), Reply::ERROR);
    const auto slow = end(take(storage_requests::createTrack(megabyte)));
    EXPECT_FALSE(slow.success());
    EXPECT_EQ(slow.error_message(), noConnection);

    startStorage(GetParam());
    ASSERT_TRUE(eventually([this] { return node(id()).has_value(); }, 15s));
    EXPECT_TRUE(eventually([this] { return node(id())->sub_devices_size() == 1; }));
    EXPECT_TRUE(ask(trackSize(track)).success());
}

INSTANTIATE_TEST_SUITE_P(Transports, LoopStorageOverTest,
                         testing::Values(Over::UnixSocket, Over::Tcp), transportName);

TEST_F(LoopStorageTest, IsTriedAgainEveryFiveSecondsWhileItIsNotThere) {
    useStorage(Over::UnixSocket);
    startService();
    const std::string complaint = "LoopStorageDeviceController on " + std::string(socketPath);
    const auto complaints = [&] { return service().log().count("ERROR " + complaint); };
    ASSERT_TRUE(eventually([&] { return complaints() == 1; }));
    const auto begin = Clock::now();
    ASSERT_TRUE(eventually([&] { return complaints() == 2; }, 15s));
    EXPECT_GT(Clock::now() - begin, 4s);
    EXPECT_TRUE(service().waitForLog(complaint + " > Storage API version "));
}

TEST_F(LoopStorageTest, TellsWhyAnOperationFailed) {
    startServiceWithStorage(Over::UnixSocket);
    for (const auto ticket : {take(destroyTrack(77)), take(resizeTrack(77, megabyte))}) {
        const auto failed = end(ticket);
        EXPECT_FALSE(failed.success());
        EXPECT_THAT(failed.error_message(), HasSubstr("77"));
        EXPECT_EQ(failed.GetExtension(GetTicketStatusReply::base).status(), TICKET_NO_STATUS);
    }
    for (const auto& request : {clearTrack(77), trackSize(77), properties(77),
                                setProperties(77, {{"a", "b"}}), removeProperties(77, {"a"})}) {
        const auto refused = ask(request);
        EXPECT_EQ(refused.type(), Reply::ERROR);
        EXPECT_FALSE(refused.success());
        EXPECT_THAT(refused.error_message(), HasSubstr("77"));
    }
    EXPECT_FALSE(ask(ticketStatus(5)).success());
    EXPECT_FALSE(end(take(storage_requests::createTrack(std::uint64_t{1} << 62))).success());
    EXPECT_FALSE(end(take(storage_requests::createTrack(0))).success());
    EXPECT_EQ(node(storageId(Over::UnixSocket))->sub_devices_size(), 0);
}

TEST_F(LoopStorageTest, ServesRequestsOnPropertiesAndClears) {
    startServiceWithStorage(Over::UnixSocket);
    const auto track = createTrack(megabyte);
    EXPECT_EQ(ask(setProperties(track, {{"a", "1"}, {"b", "2"}})).type(),
              Reply::SET_TRACK_PROPERTIES);
    EXPECT_EQ(ask(removeProperties(track, {"a"})).type(), Reply::REMOVE_TRACK_PROPERTIES);
    const auto left = ask(properties(track)).GetExtension(GetTrackPropertiesReply::base);
    ASSERT_EQ(left.properties_size(), 1);
    EXPECT_EQ(left.properties(0).name(), "b");
    EXPECT_EQ(left.properties(0).value(), "2");
    EXPECT_EQ(ask(clearTrack(track)).type(), Reply::CLEAR_TRACK);
}

TEST_F(LoopStorageTest, ShowsAThousandTracks) {
    startServiceWithStorage(Over::UnixSocket);
    std::vector<std::int64_t> tickets;
    for (int i = 0; i < 1000; ++i) {
        tickets.push_back(take(storage_requests::createTrack(65536)));
        if (i % 50 == 49) {
            end(tickets.back());  // not a thousand threads at once
        }
    }
    for (const auto ticket : tickets) {
        ASSERT_TRUE(end(ticket).success()) << end(ticket).error_message();
    }
    const auto id = storageId(Over::UnixSocket);
    const auto tracks = [&] { return node(id) ? node(id)->sub_devices_size() : 0; };
    ASSERT_TRUE(eventually([&] { return tracks() == 1000; }, 20s));
    ASSERT_TRUE(end(take(destroyTrack(500))).success());
    EXPECT_TRUE(eventually([&] { return tracks() == 999; }));
}

TEST_F(LoopStorageTest, ThatHangsLeavesTheTreeAndHoldsNobodyUpForLong) {
    startServiceWithStorage(Over::UnixSocket);
    storageServer().signal(SIGSTOP);
    const MachineTime time;
    EXPECT_EQ(ask(remainingSpace()).type(), Reply::ERROR);
    EXPECT_LT(time.elapsed(), 8s);
    ASSERT_TRUE(eventually([this] { return !node(storageId(Over::UnixSocket)); }, 15s));
    storageServer().signal(SIGCONT);
    EXPECT_TRUE(eventually([this] { return node(storageId(Over::UnixSocket)).has_value(); }, 15s));
}

TEST_F(LoopStorageTest, ThatHangsHoldsTheShutdownUpForSecondsOnly) {
    startServiceWithStorage(Over::UnixSocket);
    storageServer().signal(SIGSTOP);
    take(storage_requests::createTrack(megabyte));
    take(storage_requests::createTrack(megabyte));
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 10s);
    EXPECT_THAT(service().log().all().back(), HasSubstr("Service terminated"));
}

TEST_F(LoopStorageTest, ACallToAServerThatHangsCanBeInterrupted) {
    startStorage(Over::UnixSocket);
    service::devices::StorageError error;
    const auto connection = service::devices::connectStorage(addressOf(Over::UnixSocket), error);
    ASSERT_TRUE(connection);
    storageServer().signal(SIGSTOP);
    const MachineTime time;
    std::jthread calling([&] { tarn_storage_get_remaining_space(connection.get(), error.get()); });
    tarn_storage_connection_interrupt(connection.get());
    calling.join();
    EXPECT_LT(time.elapsed(), 3s);
    EXPECT_EQ(tarn_storage_error_get_type(error.get()), TARN_STORAGE_ERROR_CONNECTION);
    EXPECT_EQ(tarn_storage_track_get_size(connection.get(), 0, error.get()), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error.get()), TARN_STORAGE_ERROR_CONNECTION);
}

TEST_F(LoopStorageTest, OperationsThatRunEndBeforeTheServiceDoes) {
    startServiceWithStorage(Over::UnixSocket);
    for (int i = 0; i < 20; ++i) {
        take(storage_requests::createTrack(megabyte));
    }
    EXPECT_EQ(service().stop(), Ending::exited(0));
    startService();
    const auto id = storageId(Over::UnixSocket);
    EXPECT_TRUE(eventually([&] { return node(id) && node(id)->sub_devices_size() == 20; }));
}

ProcessResult storageCommand(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--timeout", "10", "storage"});
    return tarnctl(std::move(arguments));
}

TEST_F(LoopStorageTest, IsOperatedFromTheCommandLine) {
    startServiceWithStorage(Over::UnixSocket);
    const auto created = storageCommand({"create", "--size", "1M", "--wait"});
    EXPECT_EQ(created.exitStatus, 0) << created.err;
    EXPECT_THAT(created.out, HasSubstr("ticket 10000001 finished: track "));
    const auto track = created.out.substr(created.out.rfind(' ') + 1, 1);
    EXPECT_THAT(storageCommand({"properties", track, "set", "Name=studio"}).out,
                HasSubstr("studio"));
    EXPECT_TRUE(eventually(
        [] { return storageCommand({"tracks"}).out.find("Name=studio") != std::string::npos; }));
    EXPECT_THAT(storageCommand({"show", track}).out, HasSubstr("1 MiB"));
    EXPECT_EQ(storageCommand({"resize", track, "--size", "2M", "--wait"}).exitStatus, 0);
    EXPECT_EQ(storageCommand({"ticket", "10000002"}).out, "ticket 10000002 finished\n");
    EXPECT_THAT(storageCommand({"space"}).out, HasSubstr("iB left"));
    EXPECT_EQ(storageCommand({"clear", track}).exitStatus, 0);
    EXPECT_EQ(storageCommand({"properties", track, "remove", "Name"}).out, "no properties\n");
    EXPECT_EQ(storageCommand({"destroy", track, "--wait"}).exitStatus, 0);
    const auto again = storageCommand({"destroy", track, "--wait"});
    EXPECT_EQ(again.exitStatus, 1);
    EXPECT_THAT(again.err, HasSubstr(track));
}

TEST_F(LoopStorageTest, LetsAnOperatorEndWhatAWorkerDoes) {
    startServiceWithStorage(Over::UnixSocket);
    const auto track = createTrack(megabyte);
    TrackWriter stuck(addressOf(Over::UnixSocket), track, "camera");
    const auto listed = storageCommand({"workers"});
    EXPECT_THAT(listed.out, HasSubstr("writer"));
    EXPECT_THAT(listed.out, HasSubstr("camera"));
    EXPECT_THAT(listed.out, HasSubstr("process " + std::to_string(::getpid())));
    const auto document = nlohmann::json::parse(storageCommand({"workers", "--json"}).out);
    const std::string id = document["workers"][0]["worker_id"];
    EXPECT_EQ(storageCommand({"workers", "evict", id}).out, "worker " + id + " evicted\n");
    EXPECT_TRUE(eventually([] { return storageCommand({"workers"}).out == "no workers\n"; }));
    EXPECT_TRUE(eventually([&] { return end(take(destroyTrack(track))).success(); }));
    EXPECT_THROW(stuck.write(1, 10), std::runtime_error);
    const auto again = storageCommand({"workers", "evict", id});
    EXPECT_EQ(again.exitStatus, 1);
    EXPECT_THAT(again.err, HasSubstr("There is no worker " + id));
}

TEST_F(LoopStorageTest, IsReportedAsMissingWhereNoneIsConfigured) {
    startService();
    const auto refused = ask(remainingSpace());
    EXPECT_EQ(refused.type(), Reply::ERROR);
    EXPECT_EQ(refused.error_message(), "Storage device controller not found");
    const auto run = storageCommand({"space"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("Storage device controller not found"));
}

}  // namespace

}  // namespace tarn::test
