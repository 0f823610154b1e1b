#include <stdexcept>

#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

using testing::ElementsAre;

namespace {

class PluginLoadingTest : public ConfigurationFixture {
  protected:
    /// Reads a file with "/a.so" and "/b.so" into a handler with this loader.
    void load(ConfigurationHandler::PluginLoader loader) {
        ConfigurationHandler other(std::move(loader));
        const auto file = folder.write("plugins.xml",
                                       "<TarnHubConfig><KLN><Plugin>/a.so</Plugin>"
                                       "<Plugin>/b.so</Plugin></KLN></TarnHubConfig>\n");
        EXPECT_TRUE(other.readConfigurationFile(file, error)) << error;
    }
};

}  // namespace

TEST_F(PluginLoadingTest, APluginThatCannotBeLoadedIsLoggedAndTheNextOneLoaded) {
    load([this](const char* plugin) {
        loaded.emplace_back(plugin);
        return std::string(plugin) == "/a.so" ? 2 : 0;
    });
    EXPECT_THAT(loaded, ElementsAre("/a.so", "/b.so"));
    EXPECT_TRUE(log.has("FATAL ConfigurationHandler > Error while loading plugin: /a.so"));
    EXPECT_FALSE(log.contains("/b.so"));
}

TEST_F(PluginLoadingTest, APluginThatThrowsIsLoggedAndTheNextOneLoaded) {
    load([this](const char* plugin) -> int {
        loaded.emplace_back(plugin);
        throw std::runtime_error("no licence");
    });
    EXPECT_THAT(loaded, ElementsAre("/a.so", "/b.so"));
    EXPECT_TRUE(log.has("WARN ConfigurationHandler > Warning loading plugins: no licence"));
}

TEST_F(PluginLoadingTest, APluginThatThrowsSomethingElseIsLoggedAndTheNextOneLoaded) {
    load([this](const char* plugin) -> int {
        loaded.emplace_back(plugin);
        throw 7;
    });
    EXPECT_THAT(loaded, ElementsAre("/a.so", "/b.so"));
    EXPECT_TRUE(log.has("WARN ConfigurationHandler > Warning loading plugins: unknown exception"));
}

TEST_F(PluginLoadingTest, TheEnvironmentVariableListsEveryPluginAndEndsWithAColon) {
    ASSERT_TRUE(readSections("<KLN><Plugin>/a.so</Plugin><Plugin>/b.so</Plugin></KLN>"));
    EXPECT_EQ(handler.getPluginsEnvironmentVariable(), "KLN_PLUGINS=${KLN_PLUGINS}:/a.so:/b.so:");
}

TEST_F(PluginLoadingTest, TheEnvironmentVariableWithoutPluginsIsThePrefixAlone) {
    EXPECT_EQ(handler.getPluginsEnvironmentVariable(), "KLN_PLUGINS=${KLN_PLUGINS}:");
}

}  // namespace tarn::service::configuration
