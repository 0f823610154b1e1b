#include <gmock/gmock.h>

#include <string>

#include "platform/media_framework/Kln.h"
#include "tests/support/LogCapture.h"

namespace tarn::media_framework {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto goodConfig = "<Config>\n    <Logger>halden-kln</Logger>\n</Config>";

int configure(const std::string& xml) {
    return KLNSetLoggerFrameworkConfig("Log4CPlus", "kln", xml.c_str());
}

}  // namespace

class KlnLoggerTest : public testing::Test {
  protected:
    tarn::test::LogCapture log;
};

TEST_F(KlnLoggerTest, DropsLinesWhileNoFrameworkWasSet) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process that has set none
    EXPECT_EXIT(
        {
            KLNLog(KLN_LOG_ERROR, "too early");
            std::exit(log.lines().empty() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(KlnLoggerTest, GivesEveryLineThePrefixAndItsLevel) {
    ASSERT_EQ(configure(goodConfig), 0);
    KLNLog(KLN_LOG_TRACE, "a");
    KLNLog(KLN_LOG_DEBUG, "b");
    KLNLog(KLN_LOG_INFO, "c");
    KLNLog(KLN_LOG_WARNING, "d");
    KLNLog(KLN_LOG_ERROR, "100 %s");
    KLNLog(KLN_LOG_INFO, nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("TRACE kln.halden-kln > a", "DEBUG kln.halden-kln > b",
                                         "INFO kln.halden-kln > c", "WARN kln.halden-kln > d",
                                         "ERROR kln.halden-kln > 100 %s"));
}

TEST_F(KlnLoggerTest, TakesALevelThatItDoesNotKnowForAnError) {
    ASSERT_EQ(configure(goodConfig), 0);
    KLNLog(static_cast<KLNLogLevel>(7), "x");
    EXPECT_THAT(log.lines(), ElementsAre("ERROR kln.halden-kln > x"));
}

TEST_F(KlnLoggerTest, FollowsTheLastConfiguration) {
    ASSERT_EQ(configure(goodConfig), 0);
    ASSERT_EQ(
        KLNSetLoggerFrameworkConfig("Log4CPlus", "p", "<Config><Logger> n </Logger></Config>"), 0);
    KLNLog(KLN_LOG_INFO, "x");
    EXPECT_THAT(log.lines(), ElementsAre("INFO p.n > x"));
}

TEST_F(KlnLoggerTest, RefusesNullArguments) {
    EXPECT_EQ(KLNSetLoggerFrameworkConfig(nullptr, "kln", goodConfig), 1);
    EXPECT_EQ(KLNSetLoggerFrameworkConfig("Log4CPlus", nullptr, goodConfig), 1);
    EXPECT_EQ(KLNSetLoggerFrameworkConfig("Log4CPlus", "kln", nullptr), 1);
}

TEST_F(KlnLoggerTest, RefusesAnotherFramework) {
    EXPECT_EQ(KLNSetLoggerFrameworkConfig("log4cplus", "kln", goodConfig), 2);
    EXPECT_EQ(KLNSetLoggerFrameworkConfig("", "kln", goodConfig), 2);
}

TEST_F(KlnLoggerTest, RefusesAConfigurationOfAnotherFormAndKeepsTheLast) {
    ASSERT_EQ(configure(goodConfig), 0);
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<Config>";
    }
    for (const auto& xml :
         {std::string(), std::string("text"), std::string("<Config>"), std::string("<Config/>"),
          std::string("<Config><Logger/></Config>"),
          std::string("<Config><Logger>  </Logger></Config>"), std::string("<Logger>x</Logger>"),
          std::string("<Config><logger>x</logger></Config>"), deep}) {
        EXPECT_EQ(configure(xml), 3) << xml.substr(0, 100);
    }
    KLNLog(KLN_LOG_INFO, "x");
    EXPECT_THAT(log.lines(), ElementsAre("INFO kln.halden-kln > x"));
}

}  // namespace tarn::media_framework
