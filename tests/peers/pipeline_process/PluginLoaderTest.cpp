#include "peers/pipeline_process/PluginLoader.h"

#include <gtest/gtest.h>

#include "peers/pipeline_process/GstPointers.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

struct PluginLoaderTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    static bool isLoaded() {
        GstPlugin* const plugin = gst_registry_find_plugin(gst_registry_get(), "tarntest");
        if (plugin != nullptr) {
            gst_object_unref(plugin);
        }
        return plugin != nullptr;
    }
    std::string warningsOf(const std::string& paths) {
        testing::internal::CaptureStderr();
        loadPlugins(paths);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(PluginLoaderTest, EmptyEntriesAndPathsWhereNothingIsAreSkipped) {
    EXPECT_EQ(warningsOf(""), "");
    EXPECT_EQ(warningsOf("::/nowhere/x.so:"), "");
}

TEST_F(PluginLoaderTest, AFileThatIsNoPluginIsAWarningAndTheNextIsLoaded) {
    const tarn::test::TemporaryFolder folder;
    const auto file = folder.write("bad.so", "not a library");
    EXPECT_NE(warningsOf(":" + file + ":" + TEST_MEDIA_PLUGIN + ":").find(file), std::string::npos);
    EXPECT_TRUE(isLoaded());
}

}  // namespace
}  // namespace tarn::peers
