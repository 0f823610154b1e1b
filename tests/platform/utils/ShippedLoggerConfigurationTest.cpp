#include <gmock/gmock.h>

#include "platform/utils/Log.h"
#include "platform/utils/log/Log4CPlusLogger.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::utils {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The shipped file, writing to a folder of the test's own.
class ShippedLoggerConfigurationTest : public testing::Test {
  protected:
    ~ShippedLoggerConfigurationTest() override { setLogSink(nullptr); }

    void replace(const std::string& part, const std::string& by) {
        const auto place = text.find(part);
        ASSERT_NE(place, std::string::npos) << part;
        text.replace(place, part.size(), by);
    }

    /// What the lines gave on the console.
    template <typename Lines>
    std::string logged(Lines lines) {
        return logged(lines, (folder.path() / "made" / "").string());
    }

    template <typename Lines>
    std::string logged(Lines lines, const std::string& logFolder) {
        replace("/var/log/halden-tarn/", logFolder);
        testing::internal::CaptureStderr();
        registerLog4CPlusLogger("halden-tarn-service", folder.write("config", text));
        lines();
        return testing::internal::GetCapturedStderr();
    }

    std::string fileContent() const {
        return test::readFile(folder.path() / "made" / "halden-tarn-service.log");
    }

    test::TemporaryFolder folder;
    std::string text = test::readFile(SHIPPED_CONFIGURATION);
};

TEST_F(ShippedLoggerConfigurationTest, LogsFromInfoToTheFileAndTheConsole) {
    const auto console = logged([] {
        logDebug("a debug line");
        logInfo("an info line");
    });
    for (const auto& output : {console, fileContent()}) {
        EXPECT_THAT(output, HasSubstr("INFO  an info line\n"));
        EXPECT_THAT(output, Not(HasSubstr("a debug line")));
    }
}

TEST_F(ShippedLoggerConfigurationTest, LogsMoreToTheFileWhenTheLevelIsChanged) {
    replace("halden-tarn-service=INFO", "halden-tarn-service=DEBUG");
    EXPECT_THAT(logged([] { logDebug("a debug line"); }), IsEmpty());
    EXPECT_THAT(fileContent(), HasSubstr("DEBUG a debug line\n"));
}

TEST_F(ShippedLoggerConfigurationTest, LogsToTheConsoleWhereItsFileCannotBeWritten) {
    EXPECT_THAT(logged([] { logInfo("an info line"); }, "/proc/nowhere/"),
                HasSubstr("INFO  an info line\n"));
}

}  // namespace tarn::utils
