#include "platform/utils/log/ClosedFileAppender.h"

#include <fcntl.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/spi/factory.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "platform/os/ClosedFile.h"
#include "platform/utils/log/AppenderReplacement.h"

namespace tarn::utils {

namespace {

using log4cplus::helpers::Properties;

class ClosedUmask {
  public:
    ClosedUmask() : before(::umask(0777U & ~os::closedFile & ~os::closedFolder)) {}
    ~ClosedUmask() { ::umask(before); }
    ClosedUmask(const ClosedUmask&) = delete;
    ClosedUmask& operator=(const ClosedUmask&) = delete;

  private:
    const mode_t before;
};

// The base opens its file while it is made: before that, the umask is in place.
struct UmaskWhileMade {
    ClosedUmask closed = {};
};

/// The file and those that it became before: "x.log" and "x.log.1".
void closeOlderFiles(const std::filesystem::path& file) {
    std::error_code failed;
    std::filesystem::directory_iterator entry(file.parent_path(), failed);
    for (; !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed)) {
        if (entry->path().filename().string().starts_with(file.filename().string())) {
            os::closeToOthers(entry->path().string(), os::closedFile);
        }
    }
}

template <typename Appender>
class Closed : public Appender {
  public:
    explicit Closed(const Properties& properties, UmaskWhileMade /*umask*/ = {})
        : Appender(properties) {
        closeOlderFiles(this->filename);
    }
    ~Closed() override { this->destructorImpl(); }

  protected:
    // When a new file is begun; the one that is made first is the constructor's.
    void open(std::ios_base::openmode mode) override {
        os::openClosed(this->filename, O_WRONLY);
        Appender::open(mode);
    }
};

}  // namespace

void closeFilesIn(Properties& configuration) {
    replaceAppender<Closed<log4cplus::FileAppender>>(configuration, "log4cplus::FileAppender",
                                                     "tarn::utils::ClosedFileAppender");
    replaceAppender<Closed<log4cplus::RollingFileAppender>>(
        configuration, "log4cplus::RollingFileAppender", "tarn::utils::ClosedRollingFileAppender");
    replaceAppender<Closed<log4cplus::DailyRollingFileAppender>>(
        configuration, "log4cplus::DailyRollingFileAppender",
        "tarn::utils::ClosedDailyRollingFileAppender");
}

}  // namespace tarn::utils
