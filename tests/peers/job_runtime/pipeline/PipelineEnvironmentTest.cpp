#include "peers/job_runtime/pipeline/PipelineEnvironment.h"

#include <gmock/gmock.h>
#include <stdlib.h>

namespace tarn::peers {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

TEST(PipelineEnvironmentTest, HoldsWhatTheMediaLibraryLooksAtAndNothingElse) {
    ::setenv("GST_DEBUG", "2", 1);
    ::setenv("KLN_PLUGINS", "/a.so", 1);
    ::setenv("API_TOKEN", "secret", 1);
    ::setenv("LD_PRELOAD_OF_SOMEBODY", "/x.so", 1);
    ::setenv("HOMEPAGE", "secret", 1);
    const auto kept = pipelineEnvironment();
    EXPECT_THAT(kept, Contains("GST_DEBUG=2"));
    EXPECT_THAT(kept, Contains("KLN_PLUGINS=/a.so"));
    EXPECT_THAT(kept, Not(Contains(HasSubstr("secret"))));
    EXPECT_THAT(kept, Not(Contains(HasSubstr("LD_PRELOAD"))));
}

}  // namespace
}  // namespace tarn::peers
