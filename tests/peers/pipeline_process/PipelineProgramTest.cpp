#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/peers/support/StartedProgram.h"

namespace tarn::test {
namespace {

TEST(PipelineProgram, IsNotStartedByHand) {
    StartedProgram program("tarnPipelineProcess", {});
    EXPECT_EQ(program.exitStatus(), 2);
    StartedProgram withNonsense("tarnPipelineProcess", {"12x"});
    EXPECT_EQ(withNonsense.exitStatus(), 2);
}

}  // namespace
}  // namespace tarn::test
