#include "tests/chaos/model/Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One job "a" and a world to compare with.
struct ModelTest : testing::Test {
    Model model;
    World world{.devices = Devices{}, .tree = Devices{}, .published = Devices{}};

    void order(Lifetime lifetime, Kind kind = Kind::Endless) {
        const bool usesStorage = kind == Kind::Recording || kind == Kind::Playing;
        model.submitted({.id = "a",
                         .label = "a",
                         .worker = usesStorage ? "w" : "",
                         .kind = kind,
                         .lifetime = lifetime});
    }
    void playing(Lifetime lifetime, Kind kind = Kind::Endless) {
        order(lifetime, kind);
        model.sawPlaying("a", 10);
        if (lifetime == Lifetime::Persistent) {
            model.sawFile("a");
        }
    }
    void runs() {
        world.launchers.push_back({10, "a"});
        world.pipelines.push_back({11, 10});
        world.listed.push_back(
            {.id = "a",
             .endpoints = {"ipc:///tmp/c", "ipc:///tmp/e"},
             .answer = World::Answer{.id = "a", .persistent = !world.stored.empty()}});
    }
    void isStored() {
        world.stored.push_back({"a.file", "a"});
        for (auto& listed : world.listed) {
            listed.answer->persistent = true;
        }
    }
    auto problems() const { return model.problemsWith(world); }
};

TEST_F(ModelTest, NothingIsWrongWithNothing) {
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, ASubmissionOfWhichNothingWasSeenMayRunOrNot) {
    order(Lifetime::Passing);
    EXPECT_THAT(problems(), IsEmpty());
    runs();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, APersistentJobWhoseFileWasSeenMustRunAndKeepIt) {
    playing(Lifetime::Persistent);
    EXPECT_THAT(problems(),
                ElementsAre("job a is lost: it does not run", "job a has lost its file"));
    runs();
    isStored();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, APersistentJobComesBackFromEverythingButItsEndForGood) {
    playing(Lifetime::Persistent);
    model.launcherKilled("a", 10);
    model.pipelineKilled("a", 10);
    model.registryLost();
    model.serviceInterrupted();
    model.stopped("a", Model::End::UntilNextStart, Model::Answer::Taken);
    EXPECT_EQ(model.mustRun(), 1U);

    model.stopped("a", Model::End::ForGood, Model::Answer::Taken);
    EXPECT_EQ(model.mustRun(), 0U);
    EXPECT_THAT(problems(), IsEmpty());
    isStored();
    EXPECT_THAT(problems(),
                ElementsAre("job a is over and has 1 file", "job a has a file and does not run"));
    model.sawFile("a");
    EXPECT_EQ(model.mustRun(), 0U);
}

TEST_F(ModelTest, AJobThatIsOverAndOrderedAgainIsANewOne) {
    for (const auto lifetime : {Lifetime::Passing, Lifetime::Persistent}) {
        playing(lifetime);
        model.stopped("a", Model::End::ForGood, Model::Answer::Taken);
        order(lifetime);
        EXPECT_EQ(model.mustBeOver(), 0U);
        playing(lifetime);
        EXPECT_EQ(model.mustRun(), 1U);
    }
}

TEST_F(ModelTest, AnEndForGoodWithoutAnAnswerLeavesItOpen) {
    playing(Lifetime::Persistent);
    model.stopped("a", Model::End::ForGood, Model::Answer::None);
    model.sawFile("a");
    EXPECT_THAT(problems(), IsEmpty());
    isStored();
    EXPECT_THAT(problems(), ElementsAre("job a has a file and does not run"));
    runs();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, APersistentJobWithoutAFileSaysThatItIsNone) {
    order(Lifetime::Persistent);
    runs();
    EXPECT_THAT(problems(), IsEmpty());
    world.listed[0].answer->persistent = true;
    EXPECT_THAT(problems(), ElementsAre("job a says that it is persistent and has no file"));
    isStored();
    EXPECT_THAT(problems(), IsEmpty());
    world.listed[0].answer->persistent = false;
    EXPECT_THAT(problems(), ElementsAre("job a has a file and says that it is not persistent"));
}

TEST_F(ModelTest, AShortPersistentJobMayBeOver) {
    order(Lifetime::Persistent, Kind::Short);
    model.sawFile("a");
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, AJobThatWasSeenPlayingGoesOn) {
    playing(Lifetime::Passing);
    EXPECT_THAT(problems(), ElementsAre("job a is lost: it does not run"));
}

TEST_F(ModelTest, AJobIsOverWhenTheLauncherInWhichItWasSeenIsKilled) {
    playing(Lifetime::Passing);
    model.launcherKilled("a", 10);
    EXPECT_THAT(problems(), IsEmpty());
    runs();
    EXPECT_THAT(problems(), ElementsAre("job a is over and runs"));
}

TEST_F(ModelTest, AKilledLauncherThatWasNotSeenLeavesItOpen) {
    playing(Lifetime::Passing);
    model.launcherKilled("a", 9);
    EXPECT_THAT(problems(), IsEmpty());
    runs();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, AnInterruptEndsWhatTheServiceLists) {
    playing(Lifetime::Passing);
    model.serviceInterrupted();
    runs();
    EXPECT_THAT(problems(), ElementsAre("job a is over and runs"));
}

TEST_F(ModelTest, AnInterruptOfAServiceThatLostItsRegistryLeavesItOpen) {
    playing(Lifetime::Passing);
    model.registryLost();
    model.serviceInterrupted();
    EXPECT_THAT(problems(), IsEmpty());
    runs();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ModelTest, JobsOfLimitedLengthAreOver) {
    order(Lifetime::Passing, Kind::Short);
    model.sawPlaying("a", 10);
    runs();
    EXPECT_THAT(problems(), ElementsAre("job a is over and runs"));
}

TEST_F(ModelTest, NoJobRunsTwiceAndEveryOneIsListed) {
    playing(Lifetime::Passing);
    runs();
    world.launchers.push_back({20, "a"});
    EXPECT_THAT(problems(), ElementsAre("job a runs 2 times"));
    world.launchers.pop_back();
    world.listed.clear();
    EXPECT_THAT(problems(), ElementsAre("job a runs and is not listed"));
}

TEST_F(ModelTest, NothingElseRunsIsListedOrStored) {
    world.launchers.push_back({20, "b"});
    world.pipelines = {{21, 20}, {22, 20}, {23, 1}};
    world.strangers = {"sh"};
    world.listed.push_back({.id = "c", .endpoints = {"x"}});
    world.stored = {{"d.file", "d"}, {"e.file", std::nullopt}};
    world.sharedSockets = {"/tmp/y"};
    EXPECT_THAT(problems(),
                ElementsAre("a launcher runs that nobody ordered: b",
                            "pipeline process 22 is the second of its launcher",
                            "pipeline process 23 has no launcher", "left running: sh",
                            "two processes listen on /tmp/y", "listed, but not running: c",
                            "a file of a job that nobody ordered: d.file", "torn: e.file"));
}

TEST_F(ModelTest, NoEndpointIsHeldTwice) {
    playing(Lifetime::Passing);
    runs();
    world.listed.push_back(
        {.id = "a", .endpoints = {"ipc:///tmp/e"}, .answer = World::Answer{.id = "a"}});
    EXPECT_THAT(problems(), ElementsAre("listed twice: a", "held by two jobs: ipc:///tmp/e"));
}

TEST_F(ModelTest, EveryListedJobAnswersAtItsEndpoint) {
    playing(Lifetime::Passing);
    runs();
    world.listed[0].answer.reset();
    EXPECT_THAT(problems(), ElementsAre("listed, but silent: a"));
    world.listed[0].answer = World::Answer{.id = "b"};
    EXPECT_THAT(problems(), ElementsAre("at the endpoint of job a answers b"));
}

TEST_F(ModelTest, AJobThatWasSeenUsingTheStorageIsOverWhenThatIsKilled) {
    for (const auto kind : {Kind::Recording, Kind::Playing}) {
        playing(Lifetime::Passing, kind);
        EXPECT_EQ(model.mustRun(), 1U);
        model.storageKilled();
        EXPECT_EQ(model.mustBeOver(), 1U);
        model = {};
    }
    playing(Lifetime::Passing);
    model.storageKilled();
    EXPECT_EQ(model.mustRun(), 1U);
}

TEST_F(ModelTest, AJobThatUsesAStorageThatWasHeldUpMayBeOver) {
    playing(Lifetime::Passing, Kind::Recording);
    model.storageHeldUp();
    EXPECT_THAT(problems(), IsEmpty());
    runs();
    EXPECT_THAT(problems(), IsEmpty());
    model = {};
    playing(Lifetime::Passing);
    model.storageHeldUp();
    EXPECT_EQ(model.mustRun(), 1U);
}

TEST_F(ModelTest, AJobThatIsSeenPlayingAfterTheStorageWasKilledMayNotHaveNoticed) {
    order(Lifetime::Passing, Kind::Recording);
    model.storageKilled();
    model.sawPlaying("a", 10);
    EXPECT_EQ(model.mustRun(), 0U);
    EXPECT_EQ(model.mustBeOver(), 0U);
}

TEST_F(ModelTest, APersistentJobComesBackAfterTheStorageWasKilled) {
    playing(Lifetime::Persistent, Kind::Playing);
    model.storageKilled();
    EXPECT_EQ(model.mustRun(), 1U);
}

TEST_F(ModelTest, WhatPlaysIsAttachedAndNothingElseIs) {
    playing(Lifetime::Passing, Kind::Recording);
    runs();
    EXPECT_THAT(problems(), IsEmpty());
    world.listed[0].answer->plays = true;
    EXPECT_THAT(problems(), ElementsAre("job a plays and is not attached to its track"));
    for (auto* const devices : {&*world.devices, &*world.tree, &*world.published}) {
        devices->tracks[0] = {.writers = 1, .writerNames = {"w"}};
    }
    EXPECT_THAT(problems(), IsEmpty());
    world.listed.clear();
    world.launchers.clear();
    world.pipelines.clear();
    EXPECT_THAT(problems(), ElementsAre("job a is lost: it does not run",
                                        "attached to a track, but no job: w"));
}

TEST_F(ModelTest, TheTreesAreComparedWithTheDevices) {
    world.tree->nodes.insert("Host-x");
    EXPECT_THAT(problems(), ElementsAre("the tree holds what is not there: Host-x"));
}

}  // namespace
}  // namespace tarn::chaos
