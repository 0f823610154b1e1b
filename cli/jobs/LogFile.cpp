#include "cli/jobs/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include "cli/CommandError.h"

namespace tarn::cli {

namespace {

constexpr off_t mostRead = 4 << 20;  // a job's log is replaced at 1 MiB

// The name comes from the job: whatever it is, opening it must not wait, and it is only read.
os::FileDescriptor openForReading(const std::string& path) {
    os::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.isOpen() && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.close();
        errno = EINVAL;
    }
    return file;
}

off_t sizeOf(const os::FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 ? status.st_size : 0;
}

void keepLast(std::vector<std::string>& lines, std::size_t count) {
    if (lines.size() > count) {
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    }
}

}  // namespace

LogFile::LogFile(std::string name) : path(std::move(name)), file(openForReading(path)) {
    if (!file.isOpen()) {
        throw CommandError(ExitStatus::Failed, "cannot read the log file " + path + ": " +
                                                   std::generic_category().message(errno));
    }
}

std::vector<std::string> LogFile::lastLines(std::size_t count) {
    std::vector<std::string> lines;
    position = std::max<off_t>(0, sizeOf(file) - mostRead);
    const bool fromBegin = position == 0;
    readOn(lines);
    if (lines.size() < count && fromBegin && ::access((path + ".1").c_str(), R_OK) == 0) {
        try {
            auto before = LogFile(path + ".1").lastLines(count - lines.size());
            lines.insert(lines.begin(), std::make_move_iterator(before.begin()),
                         std::make_move_iterator(before.end()));
        } catch (const CommandError&) {
            return lines;  // it is gone, or no log
        }
    }
    keepLast(lines, count);
    return lines;
}

std::vector<std::string> LogFile::newLines() {
    std::vector<std::string> lines;
    const bool replaced = wasReplaced();  // asked first: what comes after this is in the new one
    readOn(lines);
    if (replaced) {
        openNext();
        readOn(lines);
    }
    return lines;
}

void LogFile::readOn(std::vector<std::string>& lines) {
    if (position > sizeOf(file)) {
        position = 0;  // emptied in its place
    }
    std::array<char, 65536> buffer;
    for (off_t left = mostRead; left > 0;) {
        const ssize_t count = ::pread(file.get(), buffer.data(), buffer.size(), position);
        if (count <= 0) {
            return;
        }
        position += count;
        left -= count;
        add(buffer.data(), static_cast<std::size_t>(count), lines);
    }
}

void LogFile::add(const char* bytes, std::size_t count, std::vector<std::string>& lines) {
    for (const char* const end = bytes + count; bytes != end; ++bytes) {
        if (*bytes == '\n') {
            lines.push_back(std::exchange(unfinished, {}));
        } else if (unfinished.size() < longestLine) {
            unfinished += *bytes;
        }
    }
}

bool LogFile::wasReplaced() const {
    struct stat open {};
    struct stat named {};
    return ::fstat(file.get(), &open) == 0 && ::stat(path.c_str(), &named) == 0 &&
           (open.st_ino != named.st_ino || open.st_dev != named.st_dev);
}

void LogFile::openNext() {
    auto next = openForReading(path);
    if (next.isOpen()) {
        file = std::move(next);
        position = 0;
    }
}

}  // namespace tarn::cli
