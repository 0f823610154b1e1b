#include <gmock/gmock.h>

#include "service/configuration/ConfigurationHandler.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::configuration {

TEST(GetConfigurationHandlerTest, IsTheSameAtEachCall) {
    EXPECT_EQ(&GetConfigurationHandler(), &GetConfigurationHandler());
}

TEST(GetConfigurationHandlerTest, LoadsPluginsAndGoesOnAfterOneThatDoesNotExist) {
    const test::TemporaryFolder folder;
    const test::LogCapture log;
    const std::string first = folder.path() / "first.so";
    const std::string second = folder.path() / "second.so";
    const auto file = folder.write("configuration.xml", "<TarnHubConfig><KLN><Plugin>" + first +
                                                            "</Plugin><Plugin>" + second +
                                                            "</Plugin></KLN></TarnHubConfig>\n");
    std::string error;
    EXPECT_TRUE(GetConfigurationHandler().readConfigurationFile(file, error)) << error;
    EXPECT_TRUE(log.has("FATAL ConfigurationHandler > Error while loading plugin: " + first));
    EXPECT_TRUE(log.has("FATAL ConfigurationHandler > Error while loading plugin: " + second));
}

}  // namespace tarn::service::configuration
