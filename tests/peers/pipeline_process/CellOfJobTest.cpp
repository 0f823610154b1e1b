#include "peers/pipeline_process/CellOfJob.h"

#include <gmock/gmock.h>

#include <optional>

#include "proto/pipeline_control.pb.h"

namespace tarn::peers {
namespace {

using testing::ElementsAre;
using namespace tarn::proto::pipeline_control;

struct CellOfJobTest : testing::Test {
    std::string enter() {
        return enterCellOf(command, report, [this](const cell::Cell& wanted) {
            entered = wanted;
            return became;
        });
    }

    PipelineCommand command;
    PipelineReport report;
    std::optional<cell::Cell> entered;
    cell::CellReport became;
};

TEST_F(CellOfJobTest, WithoutOneNothingIsEntered) {
    EXPECT_EQ(enter(), "");
    EXPECT_FALSE(entered);
}

TEST_F(CellOfJobTest, OneThatSaysNothingIsTheOneOfAServiceWithoutSuchASection) {
    command.mutable_cell();
    EXPECT_EQ(enter(), "");
    ASSERT_TRUE(entered);
    EXPECT_EQ(entered->folders, cell::Folders::AllButTheServices);
    EXPECT_EQ(entered->user, "tarn-job");
    EXPECT_EQ(entered->limits.memoryBytes, 0u);
}

TEST_F(CellOfJobTest, EverythingThatIsNamedIsEntered) {
    auto& cell = *command.mutable_cell();
    cell.set_folders_are_named(true);
    cell.add_read_folders("/r");
    cell.add_write_folders("/w");
    cell.set_user("somebody");
    cell.set_memory_bytes(1);
    cell.set_processes(2);
    cell.set_descriptors(3);
    enter();
    ASSERT_TRUE(entered);
    EXPECT_EQ(entered->folders, cell::Folders::Named);
    EXPECT_THAT(entered->read, ElementsAre("/r"));
    EXPECT_THAT(entered->write, ElementsAre("/w"));
    EXPECT_EQ(entered->user, "somebody");
    EXPECT_EQ(entered->limits.memoryBytes, 1u);
    EXPECT_EQ(entered->limits.processes, 2u);
    EXPECT_EQ(entered->limits.descriptors, 3u);
}

TEST_F(CellOfJobTest, UnixSocketsAreForPipelinesThatTalkOverThem) {
    command.mutable_cell();
    command.set_pipeline("videotestsrc ! fakesink");
    enter();
    EXPECT_EQ(entered->localSockets, cell::LocalSockets::Refused);
    command.set_pipeline("shmsrc socket-path=/tmp/x ! fakesink");
    enter();
    EXPECT_EQ(entered->localSockets, cell::LocalSockets::Allowed);
}

TEST_F(CellOfJobTest, WhatBecameOfItIsReported) {
    command.mutable_cell();
    became = {.built = "walls", .missing = {"a door"}, .notes = {"a window"}};
    EXPECT_EQ(enter(), "");
    EXPECT_EQ(report.cell(), "walls");
    EXPECT_THAT(report.cell_lacks(), ElementsAre("a door", "a window"));
}

TEST_F(CellOfJobTest, OneThatIsRequiredAndLacksSomethingRefusesTheJob) {
    command.mutable_cell()->set_required(true);
    became = {.built = "walls", .missing = {}, .notes = {"a window"}};
    EXPECT_EQ(enter(), "");
    became.missing = {"a door"};
    EXPECT_EQ(enter(), "the job's cell cannot be built: a door");
}

}  // namespace
}  // namespace tarn::peers
