// Plug-ins that the service is configured with.
#include <filesystem>

#include "tests/support/TemporaryFolder.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

class PluginsTest : public SystemTest {
  protected:
    static std::string plugin(const std::string& name) {
        return std::string(TARN_PLUGIN_FOLDER "/") + name + ".so";
    }

    /// What the service says of a plug-in that it skips.
    void expectSkipped(const std::string& name, const std::string& reason) {
        EXPECT_TRUE(service().log().contains("Plug-in " + plugin(name) + ": " + reason));
        EXPECT_TRUE(service().log().contains(
            "FATAL ConfigurationHandler > Error while loading plugin: " + plugin(name)));
    }
};

TEST_F(PluginsTest, ThatCrashOrThrowOrEndTheProcessAreSkippedAndTheOthersLoaded) {
    configureSections("<KLN><Plugin>" + plugin("CrashingPlugin") + "</Plugin><Plugin>" +
                      plugin("StaticallyThrowingPlugin") + "</Plugin><Plugin>" +
                      plugin("EndingPlugin") + "</Plugin><Plugin>" + plugin("GoodPlugin") +
                      "</Plugin></KLN>");
    startService();
    expectSkipped("CrashingPlugin", "crashed when it was tried: signal 9 (Killed)");
    expectSkipped("StaticallyThrowingPlugin", "crashed when it was tried: signal 6 (Aborted): ");
    expectSkipped("EndingPlugin", "ended the process when it was tried: status 0");
    EXPECT_EQ(service().log().count("kln.halden-kln > good plug-in starts"), 1U);
    EXPECT_TRUE(api().info());
}

TEST_F(PluginsTest, ThatNeverComeBackAreSkippedInTime) {
    configureSections("<KLN><Plugin>" + plugin("HangingPlugin") + "</Plugin></KLN>");
    startService();
    expectSkipped("HangingPlugin", "did not start within 10 s when it was tried: started ");
}

TEST_F(PluginsTest, OfTheShippedConfigurationLeaveNothingToComplainOf) {
    configure(readFile(TARN_SHIPPED_CONFIGURATION));
    startService();
    for (const auto& line : service().log().all()) {
        // Without a gateway the emitter tells of an error.
        for (const char* const level : {" FATAL ", " WARN "}) {
            EXPECT_EQ(line.find(level), std::string::npos) << line;
        }
    }
    EXPECT_TRUE(service().log().contains("libhalden-tarn-storage-kln.so"));
}

}  // namespace

}  // namespace tarn::test
