#include <gmock/gmock.h>

#include <string>

#include "platform/media_framework/Kln.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::media_framework {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class KlnPluginsTest : public testing::Test {
  protected:
    static std::string plugin(const std::string& name) {
        return std::string(PLUGIN_FOLDER "/") + name + ".so";
    }

    int load(const std::string& path) { return KLNLoadPluginLibrary(path.c_str()); }

    tarn::test::LogCapture log;
};

TEST_F(KlnPluginsTest, AreStartedOnce) {
    ASSERT_EQ(KLNSetLoggerFrameworkConfig("Log4CPlus", "p", "<Config><Logger>n</Logger></Config>"),
              0);
    EXPECT_EQ(load(plugin("GoodPlugin")), 0);
    EXPECT_EQ(load(plugin("GoodPlugin")), 0);
    EXPECT_THAT(log.lines(), ElementsAre("INFO p.n > good plug-in starts"));
}

TEST_F(KlnPluginsTest, NeedNotHaveAnythingToStart) {
    EXPECT_EQ(load(plugin("PlainPlugin")), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(KlnPluginsTest, MayRefuseToStartEachTime) {
    const auto path = plugin("RefusingPlugin");
    const auto line = "WARN KLNLoadPluginLibrary > Plug-in " + path + ": refused to start: 42";
    EXPECT_EQ(load(path), 3);
    EXPECT_EQ(load(path), 3);
    EXPECT_THAT(log.lines(), ElementsAre(line, line));
}

TEST_F(KlnPluginsTest, MayThrowWithoutHarm) {
    EXPECT_EQ(load(plugin("ThrowingPlugin")), 3);
    EXPECT_TRUE(log.contains("ThrowingPlugin.so: refused to start: no licence"));
    EXPECT_EQ(load(plugin("OddlyThrowingPlugin")), 3);
    EXPECT_TRUE(log.contains("OddlyThrowingPlugin.so: refused to start: unknown exception"));
}

TEST_F(KlnPluginsTest, ThatWouldEndTheProcessAreNotLoaded) {
    EXPECT_EQ(load(plugin("CrashingPlugin")), 4);
    EXPECT_EQ(load(plugin("StaticallyThrowingPlugin")), 4);
    EXPECT_EQ(load(plugin("EndingPlugin")), 4);
    EXPECT_THAT(
        log.lines(),
        ElementsAre("WARN KLNLoadPluginLibrary > Plug-in " + plugin("CrashingPlugin") +
                        ": crashed when it was tried: signal 9 (Killed)",
                    testing::AllOf(HasSubstr("signal 6 (Aborted): "), HasSubstr("no licence")),
                    HasSubstr("ended the process when it was tried: status 0")));
    EXPECT_EQ(load(plugin("GoodPlugin")), 0);
}

TEST_F(KlnPluginsTest, AreNotLoadedFromNowhere) {
    EXPECT_EQ(KLNLoadPluginLibrary(nullptr), 1);
    EXPECT_EQ(load(""), 1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(KlnPluginsTest, AreNotLoadedFromWhatIsNoLibrary) {
    const tarn::test::TemporaryFolder folder;
    EXPECT_EQ(load("/nonexistent/x.so"), 2);
    EXPECT_TRUE(log.contains("WARN KLNLoadPluginLibrary > Plug-in /nonexistent/x.so: "));
    EXPECT_EQ(load(folder.path().string()), 2);
    EXPECT_EQ(load(folder.write("x.so", "")), 2);
    EXPECT_EQ(load(folder.write("y.so", std::string(10000, '\x7f'))), 2);
    EXPECT_EQ(load(std::string(100000, 'x')), 2);
    EXPECT_EQ(log.lines().size(), 5U);
}

TEST_F(KlnPluginsTest, AreNotLoadedWhenTheyNeedWhatIsNotThere) {
    EXPECT_EQ(load(plugin("UnlinkablePlugin")), 2);
    EXPECT_TRUE(log.contains("aFunctionThatIsNowhere"));
}

}  // namespace tarn::media_framework
