#include "service/configuration/check/CheckCreateFolder.h"

#include <filesystem>

#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

namespace fs = std::filesystem;

namespace {

class CheckCreateFolderTest : public ConfigurationFixture {
  protected:
    std::string inFolder(const std::string& name) const { return folder.path() / name; }

    bool checkConfigured(const std::string& jobsFolder) {
        EXPECT_TRUE(readSections("<Paths><PersistentJobsFolder>" + jobsFolder +
                                 "</PersistentJobsFolder></Paths>"));
        error = "from before";
        return handler.checkCreateFolders(error);
    }
};

}  // namespace

TEST_F(CheckCreateFolderTest, AcceptsAFolderThatExists) {
    EXPECT_TRUE(checkCreateFolder(folder.path().string(), error));
    EXPECT_EQ(error, "");
}

TEST_F(CheckCreateFolderTest, AcceptsALinkToAFolder) {
    fs::create_directory_symlink(folder.path(), inFolder("link"));
    EXPECT_TRUE(checkCreateFolder(inFolder("link"), error)) << error;
}

TEST_F(CheckCreateFolderTest, CreatesAFolderThatIsMissing) {
    EXPECT_TRUE(checkCreateFolder(inFolder("jobs"), error)) << error;
    EXPECT_TRUE(fs::is_directory(inFolder("jobs")));
}

TEST_F(CheckCreateFolderTest, DoesNotCreateParents) {
    const std::string deep = inFolder("no/jobs");
    EXPECT_FALSE(checkCreateFolder(deep, error));
    EXPECT_EQ(error, "Failed creating folder " + deep + ": No such file or directory");
    EXPECT_FALSE(fs::exists(inFolder("no")));
}

TEST_F(CheckCreateFolderTest, RefusesAFile) {
    const std::string file = folder.write("file", "");
    EXPECT_FALSE(checkCreateFolder(file, error));
    EXPECT_EQ(error, file + " is not a folder");
}

TEST_F(CheckCreateFolderTest, SaysWhyAFolderCannotBeLookedAt) {
    fs::create_symlink(inFolder("loop"), inFolder("loop"));
    EXPECT_FALSE(checkCreateFolder(inFolder("loop"), error));
    EXPECT_EQ(error, "Failed getting info on folder " + inFolder("loop") +
                         ": Too many levels of symbolic links");
    const std::string tooLong = inFolder(std::string(300, 'x'));
    EXPECT_FALSE(checkCreateFolder(tooLong, error));
    EXPECT_EQ(error, "Failed getting info on folder " + tooLong + ": File name too long");
}

TEST_F(CheckCreateFolderTest, TheHandlerCreatesThePersistentJobsFolder) {
    EXPECT_TRUE(checkConfigured(inFolder("jobs"))) << error;
    EXPECT_EQ(error, "");
    EXPECT_TRUE(fs::is_directory(inFolder("jobs")));
}

TEST_F(CheckCreateFolderTest, TheHandlerFormatsTheError) {
    EXPECT_FALSE(checkConfigured(inFolder("no/jobs")));
    EXPECT_EQ(error, "ConfigurationHandler > Failed creating folder " + inFolder("no/jobs") +
                         ": No such file or directory");
    const std::string file = folder.write("file", "");
    EXPECT_FALSE(checkConfigured(file));
    EXPECT_EQ(error, "ConfigurationHandler > " + file + " is not a folder");
}

TEST_F(CheckCreateFolderTest, TheHandlerAcceptsAnEmptySettingWithoutAnyCheck) {
    EXPECT_TRUE(checkConfigured("<![CDATA[]]>"));
    EXPECT_EQ(error, "");
}

}  // namespace tarn::service::configuration
