#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/cli/StorageFixture.h"

namespace tarn::cli {

using nlohmann::json;
using proto::monitoring::DeviceNode;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class StorageTracksTest : public StorageFixture {
  protected:
    /// A camera, and a storage with a track in use and an empty one.
    static DeviceNode usualTree() {
        DeviceNode tree;
        tree.add_sub_devices()->set_id("cam1");
        auto& storage = addStorage(tree, "Storage-unix-/run/loops");
        auto& track = addTrack(storage, "3", "10737418240");
        addProperty(track, "Name", "studio");
        putToUse(track);
        addTrack(storage, "4", "1000");
        return tree;
    }
};

TEST_F(StorageTracksTest, ListsTracksWithTheirSizesAndWorkers) {
    treeIs(usualTree());
    const auto run = tarnctl({"storage", "tracks"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, MatchesRegex("ID +SIZE +LENGTH +WRITERS +READERS +PROPERTIES\n"
                                      "3 +10 GiB +1:00 +recorder +play1,play2 +Name=studio\n"
                                      "4 +1000 B +- +- +- +-\n"));
}

TEST_F(StorageTracksTest, SaysThatThereIsNoStorage) {
    treeIs(DeviceNode());
    EXPECT_EQ(tarnctl({"storage", "tracks"}).out, "no loop storage\n");
}

TEST_F(StorageTracksTest, SaysThatThereAreNoTracks) {
    DeviceNode tree;
    addStorage(tree, "one");
    treeIs(tree);
    EXPECT_EQ(tarnctl({"storage", "tracks"}).out, "no tracks\n");
    EXPECT_EQ(json::parse(tarnctl({"storage", "tracks", "--json"}).out),
              json::parse(R"({"tracks": []})"));
}

TEST_F(StorageTracksTest, NamesTheStorageWhereThereAreSeveral) {
    auto tree = usualTree();
    addTrack(addStorage(tree, "Storage-tcp-far:1"), "3", "5");
    treeIs(tree);
    const auto run = tarnctl({"storage", "tracks"});
    EXPECT_THAT(run.out, HasSubstr("Storage-tcp-far:1        3   5 B"));
    const auto one = tarnctl({"storage", "tracks", "--storage", "Storage-tcp-far:1"});
    EXPECT_THAT(one.out, MatchesRegex("ID +SIZE.*\n3 +5 B .*\n"));
}

TEST_F(StorageTracksTest, SaysWhichTrackCannotBeUsedAndWhy) {
    auto tree = usualTree();
    auto& status = *tree.mutable_sub_devices(1)->mutable_sub_devices(1)->mutable_global_status();
    status.set_level(proto::monitoring::GlobalStatus::ERROR);
    status.set_description("index is damaged");
    treeIs(tree);
    EXPECT_THAT(tarnctl({"storage", "tracks"}).out,
                MatchesRegex("ID +SIZE +LENGTH +WRITERS +READERS +PROPERTIES +STATUS\n"
                             "3 +10 GiB +1:00 +recorder +play1,play2 +Name=studio +-\n"
                             "4 +1000 B +- +- +- +- +error: index is damaged\n"));
    EXPECT_THAT(tarnctl({"storage", "show", "4"}).out,
                HasSubstr("Status   error: index is damaged"));
    EXPECT_EQ(json::parse(tarnctl({"storage", "tracks", "--json"}).out)["tracks"][1]["status"],
              "error: index is damaged");
}

TEST_F(StorageTracksTest, ListsTracksAsJson) {
    treeIs(usualTree());
    const auto list = json::parse(tarnctl({"storage", "tracks", "--json"}).out);
    ASSERT_EQ(list["tracks"].size(), 2U);
    EXPECT_EQ(list["tracks"][0], json::parse(R"({
        "storage": "Storage-unix-/run/loops", "track_id": "3", "size": "10737418240",
        "num_readers": "2", "num_writers": "1", "readers_list": "play1,play2",
        "writers_list": "recorder", "start_timepoint": "1000000000",
         "end_timepoint": "61000000000", "status": "", "disk_errors": "0",
         "properties": {"Name": "studio"}})"));
}

TEST_F(StorageTracksTest, TellsHowOftenTheDiskOfATrackHasFailed) {
    auto tree = usualTree();
    auto& status = *tree.mutable_sub_devices(1)->mutable_sub_devices(0)->add_statuses();
    status.set_name("DiskErrors");
    status.set_unsigned_value(17);
    treeIs(tree);
    EXPECT_THAT(tarnctl({"storage", "tracks"}).out,
                MatchesRegex("ID .*PROPERTIES +DISK ERRORS\n3 .*Name=studio +17\n4 .* -\n"));
    EXPECT_THAT(tarnctl({"storage", "show", "3"}).out, HasSubstr("Disk errors  17"));
    EXPECT_THAT(tarnctl({"storage", "show", "4"}).out, Not(HasSubstr("Disk errors")));
    EXPECT_EQ(json::parse(tarnctl({"storage", "show", "3", "--json"}).out)["disk_errors"], "17");
}

TEST_F(StorageTracksTest, ShowsOneTrack) {
    treeIs(usualTree());
    const auto run = tarnctl({"storage", "show", "3"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    for (const char* const line :
         {"Size      10 GiB", "Length    1:00", "Start     1000000000", "Readers   2 (play1,play2)",
          "Writers   1 (recorder)", "Property  Name=studio", "Storage   Storage-unix-/run/loops"}) {
        EXPECT_THAT(run.out, HasSubstr(line));
    }
    EXPECT_THAT(tarnctl({"storage", "show", "4"}).out, Not(HasSubstr("Length")));
    EXPECT_EQ(json::parse(tarnctl({"storage", "show", "4", "--json"}).out)["track_id"], "4");
}

TEST_F(StorageTracksTest, ShowsNoTrackThatIsNotThere) {
    treeIs(usualTree());
    const auto run = tarnctl({"storage", "show", "5"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: there is no track 5\n");
}

TEST_F(StorageTracksTest, AsksWhichStorageIsMeant) {
    auto tree = usualTree();
    addTrack(addStorage(tree, "Storage-tcp-far:1"), "3", "5");
    treeIs(tree);
    const auto run = tarnctl({"storage", "show", "3"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("--storage"));
    EXPECT_THAT(tarnctl({"storage", "show", "3", "--storage", "Storage-tcp-far:1"}).out,
                HasSubstr("5 B"));
}

TEST_F(StorageTracksTest, EscapesWhatClientsHaveStored) {
    DeviceNode tree;
    addProperty(addTrack(addStorage(tree, "one"), "1", "\x1b[2J"), "a\n", "\x1b[31m");
    treeIs(tree);
    for (const auto& run : {tarnctl({"storage", "tracks"}), tarnctl({"storage", "show", "1"})}) {
        EXPECT_THAT(run.out, Not(HasSubstr("\x1b")));
        EXPECT_THAT(run.out, HasSubstr("\\x1b[31m"));
    }
}

TEST_F(StorageTracksTest, LooksOnlyAtStorages) {
    DeviceNode tree;
    auto& camera = *tree.add_sub_devices();
    camera.set_device_class(DeviceNode::CAPTURE);
    addTrack(camera, "1", "1");
    treeIs(tree);
    EXPECT_EQ(tarnctl({"storage", "tracks"}).out, "no loop storage\n");
}

}  // namespace tarn::cli
