#include "service/configuration/ConfigurationFile.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/service/configuration/ConfigurationFixture.h"

namespace tarn::service::configuration {

namespace {

class ConfigurationFileTest : public ConfigurationFixture {
  protected:
    std::string errorOf(const std::string& file) {
        EXPECT_FALSE(handler.readConfigurationFile(file, error));
        return error;
    }

    std::string errorOfContent(const std::string& content) {
        EXPECT_FALSE(read(content));
        return error;
    }

    std::string failedReading(const std::string& reason) const {
        return "ConfigurationHandler > Failed reading " + path + ": " + reason;
    }

    std::string failedOpening(const std::string& file) const {
        return "ConfigurationHandler > Failed opening " + file;
    }

    static std::string nested(unsigned levels) {
        std::string text;
        for (unsigned level = 0; level < levels; ++level) {
            text += "<a>";
        }
        for (unsigned level = 0; level < levels; ++level) {
            text += "</a>";
        }
        return text;
    }
};

}  // namespace

TEST_F(ConfigurationFileTest, AFileThatEndsWithTheRootElementFailsToParse) {
    EXPECT_EQ(errorOfContent("<TarnHubConfig></TarnHubConfig>"), failedReading("expected >"));
    EXPECT_TRUE(read("<TarnHubConfig></TarnHubConfig>\n")) << error;
}

TEST_F(ConfigurationFileTest, TheLastByteOfAFileIsNeverRead) {
    EXPECT_TRUE(read("<TarnHubConfig></TarnHubConfig><")) << error;
    EXPECT_TRUE(read(std::string("<TarnHubConfig></TarnHubConfig>") + '\0')) << error;
}

TEST_F(ConfigurationFileTest, AParseErrorHasTheParsersMessageAlone) {
    EXPECT_EQ(errorOfContent("<TarnHubConfig>\n<Paths>\n</Paths\n<"), failedReading("expected >"));
    EXPECT_EQ(errorOfContent("<TarnHubConfig>\n<!-- no end\n"),
              failedReading("unexpected end of data"));
    EXPECT_EQ(errorOfContent("<!DOCTYPE x [\n<TarnHubConfig/>\n"),
              failedReading("unexpected end of data"));
    EXPECT_EQ(errorOfContent("<TarnHubConfig a=\n"), failedReading("expected ' or \""));
}

TEST_F(ConfigurationFileTest, TheLineOfAParseErrorIsALineOfItsOwnInTheLog) {
    const test::LogCapture log;
    EXPECT_EQ(errorOfContent("<TarnHubConfig>\n<Paths>\n</Paths\n<"), failedReading("expected >"));
    EXPECT_TRUE(log.has("WARN ConfigurationHandler > Parsing of " + path + " ended in line 4"));
}

TEST_F(ConfigurationFileTest, ADoctypeIsSkipped) {
    EXPECT_TRUE(
        read("<?xml version='1.0'?>\n<!DOCTYPE x [<!ENTITY y \"&y;&y;\">]>\n"
             "<TarnHubConfig/>\n"))
        << error;
}

TEST_F(ConfigurationFileTest, AnotherRootIsRefused) {
    const auto invalid = [this] { return "ConfigurationHandler > Invalid root node in " + path; };
    EXPECT_EQ(errorOfContent("<Other><TarnHubConfig/></Other>\n"), invalid());
    EXPECT_EQ(errorOfContent("\n"), invalid());
    EXPECT_EQ(errorOfContent("<!-- nothing -->\n"), invalid());
}

TEST_F(ConfigurationFileTest, AnEmptyFileIsAReadFailure) {
    EXPECT_EQ(errorOfContent(""), failedReading("file is empty"));
}

TEST_F(ConfigurationFileTest, AFileThatIsTooLargeIsNotRead) {
    path = folder.write("large.xml", "<TarnHubConfig/>\n");
    std::filesystem::resize_file(path, largestConfigurationFile + 1);  // takes no space
    EXPECT_EQ(errorOf(path), failedReading("file is larger than 16 MiB"));
}

TEST_F(ConfigurationFileTest, AFileOfTheLargestSizeIsRead) {
    std::string content = "<TarnHubConfig/>";
    content.resize(largestConfigurationFile, ' ');
    EXPECT_TRUE(read(content)) << error;
}

TEST_F(ConfigurationFileTest, ParsingEndsAtTheFirstZeroByte) {
    const test::LogCapture log;
    EXPECT_TRUE(read(std::string("<TarnHubConfig/>\n\0<garbage\0\n", 28))) << error;
    EXPECT_TRUE(log.has("WARN ConfigurationHandler > Parsing of " + path +
                        " ended at a zero byte in line 2"));
    EXPECT_EQ(errorOfContent(std::string("<TarnHubConfig>\n\0</TarnHubConfig>\n", 35)),
              failedReading("unexpected end of data"));
}

TEST_F(ConfigurationFileTest, BinaryGarbageIsAReadFailure) {
    EXPECT_EQ(errorOfContent("\x7f\x45LF\xff\xfe\x80garbage\n"), failedReading("expected <"));
}

TEST_F(ConfigurationFileTest, AFolderCannotBeOpened) {
    EXPECT_EQ(errorOf(folder.path().string()), failedOpening(folder.path().string()));
}

TEST_F(ConfigurationFileTest, ANamedPipeWithoutWriterCannotBeOpenedAndDoesNotBlock) {
    const std::string pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(errorOf(pipe), failedOpening(pipe));
}

TEST_F(ConfigurationFileTest, ADeviceCannotBeOpened) {
    EXPECT_EQ(errorOf("/dev/zero"), failedOpening("/dev/zero"));
}

TEST_F(ConfigurationFileTest, DeepNestingIsAReadFailure) {
    EXPECT_EQ(errorOfContent(nested(100'000) + "\n"),
              failedReading("elements are nested more than 200 deep"));
    EXPECT_TRUE(readSections(nested(199))) << error;
    EXPECT_EQ(errorOfContent("<TarnHubConfig>\n" + nested(200) + "</TarnHubConfig>\n"),
              failedReading("elements are nested more than 200 deep"));
}

}  // namespace tarn::service::configuration
