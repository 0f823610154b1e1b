#include "tests/chaos/Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One job "a" and a world to compare with.
struct ModelTest : testing::Test {
    Model model;
    World world;

    void order(Lifetime lifetime, Kind kind = Kind::Endless) {
        model.submitted({.id = "a", .label = "a", .kind = kind, .lifetime = lifetime});
    }
    void playing(Lifetime lifetime) {
        order(lifetime);
        model.sawPlaying("a", 10);
        if (lifetime == Lifetime::Persistent) {
            model.sawFile("a");
        }
    }
    void runs() {
        world.launchers.push_back({10, "a"});
        world.pipelines.push_back({11, 10});
        world.listed.push_back({.id = "a", .endpoints = {"ipc:///tmp/c", "ipc:///tmp/e"}});
    }
    void isStored() { world.stored.push_back({"a.file", "a"}); }
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
    world.listed[0].persistent = false;
    EXPECT_THAT(problems(), IsEmpty());
    world.listed[0].persistent = true;
    EXPECT_THAT(problems(), ElementsAre("job a says that it is persistent and has no file"));
    isStored();
    EXPECT_THAT(problems(), IsEmpty());
    world.listed[0].persistent = false;
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
    world.listed.push_back({.id = "a", .endpoints = {"ipc:///tmp/e"}});
    EXPECT_THAT(problems(), ElementsAre("listed twice: a", "held by two jobs: ipc:///tmp/e"));
}

}  // namespace
}  // namespace tarn::chaos
