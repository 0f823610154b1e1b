#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Process.h"

namespace tarn::test {
namespace {

TEST(PipelineProgramTest, IsNotStartedByHand) {
    Process program({builtProgram("tarnPipelineProcess")});
    EXPECT_EQ(program.waitForEnd(), Ending::exited(2));
    Process withNonsense({builtProgram("tarnPipelineProcess"), "12x"});
    EXPECT_EQ(withNonsense.waitForEnd(), Ending::exited(2));
}

}  // namespace
}  // namespace tarn::test
