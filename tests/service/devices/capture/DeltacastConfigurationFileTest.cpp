#include "service/devices/capture/DeltacastConfigurationFile.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "platform/utils/MessageFormatter.h"
#include "tests/service/devices/support/CaptureFormats.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::devices {

using test::DeltacastConfig;
using testing::ElementsAre;
using testing::StartsWith;

class DeltacastConfigurationFileTest : public testing::Test {
  protected:
    DeltacastConfigurationFile file() const { return {path, formatter}; }
    bool load() { return file().load(loaded); }
    std::string restoring() const {
        return "INFO c > Restoring persistent deltacast configuration from file: " + path;
    }

    const test::TemporaryFolder folder;
    const utils::MessageFormatter formatter{"c"};
    const test::LogCapture log{utils::LogLevel::Info};
    std::string path = (folder.path() / "format").string();
    DeltacastConfig loaded;
};

TEST_F(DeltacastConfigurationFileTest, HoldsOneMessageAndNothingElse) {
    EXPECT_TRUE(file().save(test::progressive720()));
    EXPECT_EQ(test::readFile(path), test::progressive720().SerializeAsString());
    EXPECT_THAT(log.lines(),
                ElementsAre("INFO c > Writing configuration to " + path, "INFO c > Save OK"));
}

TEST_F(DeltacastConfigurationFileTest, IsReadBack) {
    file().save(test::progressive720());
    EXPECT_TRUE(load());
    EXPECT_EQ(loaded.SerializeAsString(), test::progressive720().SerializeAsString());
    EXPECT_EQ(log.lines().back(), restoring());
}

TEST_F(DeltacastConfigurationFileTest, TellsItsContentAtLevelDebug) {
    const test::LogCapture everything;
    file().save(test::progressive720());
    load();
    EXPECT_TRUE(everything.contains("DEBUG c > Configuration to save: pixel_format: RGB24"));
    EXPECT_TRUE(
        everything.contains("DEBUG c > Loaded configuration to restore: pixel_format: RGB24"));
}

TEST_F(DeltacastConfigurationFileTest, IsReplacedAsAWhole) {
    folder.write("format", std::string(100'000, 'x'));
    const auto before = std::filesystem::path(folder.path() / "link to the old one");
    std::filesystem::create_hard_link(path, before);
    file().save(test::progressive720());
    EXPECT_EQ(test::readFile(before).size(), 100'000U) << "the old content was written over";
    EXPECT_EQ(test::readFile(path), test::progressive720().SerializeAsString());
    std::filesystem::remove(before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1)
        << "a temporary file is left";
}

TEST_F(DeltacastConfigurationFileTest, IsNotSavedWithoutAPath) {
    path.clear();
    EXPECT_FALSE(file().save(test::progressive720()));
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR c > Cannot save configuration: no path specified."));
}

TEST_F(DeltacastConfigurationFileTest, SaysThatItCannotBeCreated) {
    path = (folder.path() / "no folder" / "format").string();
    EXPECT_FALSE(file().save(test::progressive720()));
    EXPECT_EQ(log.lines().back(), "ERROR c > Failed creating deltacast configuration job file");
}

TEST_F(DeltacastConfigurationFileTest, SaysThatItCannotBeWritten) {
    std::filesystem::create_directory(path);
    EXPECT_FALSE(file().save(test::progressive720()));
    EXPECT_THAT(log.lines().back(),
                StartsWith("ERROR c > Failed writing persistent deltacast configuration file: "));
}

TEST_F(DeltacastConfigurationFileTest, DoesNotTakeWhatItCouldNotGiveBack) {
    file().save(test::progressive720());
    EXPECT_FALSE(file().save(DeltacastConfig()));
    EXPECT_THAT(log.lines().back(),
                StartsWith("ERROR c > Failed writing persistent deltacast configuration file: "));
    EXPECT_TRUE(load());
}

TEST_F(DeltacastConfigurationFileTest, SaysThatItCannotBeOpened) {
    EXPECT_FALSE(load());
    EXPECT_THAT(log.lines(), ElementsAre(restoring(), "INFO c > Failed opening file"));
}

TEST_F(DeltacastConfigurationFileTest, RefusesWhatIsNoMessage) {
    folder.write("format", "\xff\xff\xff\xff");
    EXPECT_FALSE(load());
    EXPECT_THAT(log.lines(), ElementsAre(restoring(), "ERROR c > Failed deserializing message"));
}

TEST_F(DeltacastConfigurationFileTest, RefusesAMessageThatLacksRequiredFields) {
    auto incomplete = test::progressive720();
    incomplete.clear_frame_rate();
    folder.write("format", incomplete.SerializePartialAsString());
    EXPECT_FALSE(load());
    EXPECT_EQ(log.lines().back(),
              "ERROR c > Failed setting configuration: saved configuration is not initialized");
    folder.write("format", "");
    EXPECT_FALSE(load());
    EXPECT_EQ(log.lines().back(),
              "ERROR c > Failed setting configuration: saved configuration is not initialized");
}

TEST_F(DeltacastConfigurationFileTest, RefusesAFileThatIsFarTooLarge) {
    folder.write("format", std::string((1U << 20U) + 1, '\0'));
    EXPECT_FALSE(load());
    EXPECT_THAT(log.lines().back(), StartsWith("ERROR c > Failed reading file: "));
}

}  // namespace tarn::service::devices
