#include "peers/job_runtime/pipeline/ProcessEnd.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

TEST(ProcessEndTest, NamesTheSignal) {
    EXPECT_EQ(describe({.exitStatus = {}, .signal = 11}),
              "killed by signal 11 (Segmentation fault)");
    EXPECT_EQ(describe({.exitStatus = {}, .signal = 9}), "killed by signal 9 (Killed)");
    EXPECT_EQ(describe({.exitStatus = {}, .signal = 40}), "killed by signal 40 (unknown)");
}

TEST(ProcessEndTest, NamesTheExitStatus) {
    EXPECT_EQ(describe({.exitStatus = 3, .signal = {}}), "exited with status 3");
    EXPECT_EQ(describe({}), "did not end");
}

}  // namespace
}  // namespace tarn::peers
