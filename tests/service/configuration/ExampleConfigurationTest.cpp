#include <string>

#include "service/configuration/ConfigurationCheck.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

namespace {

const std::string examplePath = TARN_EXAMPLE_CONFIGURATION;

/// The file with the examples in its comments made real.
std::string withExamples() {
    const std::string marker = "Example:";
    std::string text = test::readFile(examplePath);
    for (auto at = text.find(marker); at != std::string::npos; at = text.find(marker)) {
        text.replace(at, marker.size(), "-->");
        text.erase(text.find("-->", at + 3), 3);
    }
    return text;
}

class ExampleConfigurationTest : public ConfigurationFixture {
  protected:
    /// Without what it says of plug-ins.
    std::vector<std::string> report() const {
        const test::LogCapture capture;
        handler.printConfiguration();
        auto lines = capture.lines();
        std::erase_if(lines, [](const auto& line) { return line.starts_with("INFO \t/opt/"); });
        return lines;
    }
};

}  // namespace

TEST_F(ExampleConfigurationTest, EqualsTheBuiltInSettingsButForThePlugins) {
    handler.setDefault();
    const auto builtIn = report();
    ASSERT_TRUE(handler.readConfigurationFile(examplePath, error)) << error;
    EXPECT_EQ(report(), builtIn);
    EXPECT_EQ(handler.getPersistentDeltacastConfigurationFile(), "");
}

TEST_F(ExampleConfigurationTest, NamesOnlyThePluginThatIsShipped) {
    ASSERT_TRUE(handler.readConfigurationFile(examplePath, error)) << error;
    EXPECT_THAT(handler.getPlugins(),
                testing::ElementsAre(
                    "/opt/halden/halden-tarn-storage/lib64/libhalden-tarn-storage-kln.so"));
}

TEST_F(ExampleConfigurationTest, ConfinesJobs) {
    ASSERT_TRUE(handler.readConfigurationFile(examplePath, error)) << error;
    EXPECT_TRUE(handler.getJobCell().isGiven);
    EXPECT_THAT(handler.getJobCell().writeFolders, testing::ElementsAre("/srv/tarn"));
    EXPECT_THAT(handler.getJobCell().refusedElements, testing::Contains("fdsink"));
    EXPECT_EQ(handler.getJobCell().user, "tarn-job");
}

TEST_F(ExampleConfigurationTest, ItsExamplesAreAccepted) {
    ASSERT_TRUE(read(withExamples())) << error;
    EXPECT_EQ(ports("*"), std::pair(10000U, 20000U));
    EXPECT_EQ(handler.getDevices().size(), 2U);
    EXPECT_EQ(handler.getLoopStorages().size(), 2U);
    ASSERT_EQ(handler.getDeltacastServices().size(), 1U);
    EXPECT_EQ(handler.getDeltacastServices()[0]->getDefaultCommandLine(),
              "/opt/halden/halden-kln-sdi-ingest-service/bin/KLN-SDI-Ingest-Service "
              "--pixel-format uyvy422_8 --board0-input-list '0' --board0-input-frameoffset '0' "
              "--line-count 1080 --field-mode i --frame-rate 25");
    EXPECT_EQ(handler.getPersistentDeltacastConfigurationFile(), "/usr/share/TarnJobs.deltacast");
}

TEST_F(ExampleConfigurationTest, KeepsTcpWithinThisMachineUnlessThereAreKeys) {
    ASSERT_TRUE(handler.readConfigurationFile(examplePath, error)) << error;
    EXPECT_TRUE(handler.getSecurity().required);
    EXPECT_EQ(handler.getSecurity().keyFile, "");
}

TEST_F(ExampleConfigurationTest, NoneOfItsElementsIsUnknown) {
    for (const auto& problem : checkConfigurationFile(folder.write("all.xml", withExamples()))) {
        EXPECT_THAT(problem.text, testing::AnyOf(testing::HasSubstr("cannot be loaded"),
                                                 testing::HasSubstr("cannot be run"),
                                                 testing::HasSubstr("/etc/tarn/")));
    }
}

}  // namespace tarn::service::configuration
