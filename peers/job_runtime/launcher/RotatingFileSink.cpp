#include "peers/job_runtime/launcher/RotatingFileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "platform/os/ClosedFile.h"

namespace tarn::peers {

namespace {

constexpr std::size_t lineOverhead = 32;  // time, level, line end

std::FILE* openClosedLog(const std::string& path, const char* mode) {
    const int disposition = *mode == 'a' ? O_APPEND : O_TRUNC;
    const auto opened = os::openClosed(path, O_WRONLY | disposition);
    const int streams = ::fcntl(opened.get(), F_DUPFD_CLOEXEC, 0);
    std::FILE* const stream = ::fdopen(streams, mode);
    if (stream == nullptr && streams >= 0) {
        ::close(streams);
    }
    return stream;
}

}  // namespace

RotatingFileSink::RotatingFileSink(std::string logPath, std::size_t maxBytes)
    : path(std::move(logPath)), maxBytes(maxBytes) {
    if (!open("ae")) {
        throw std::runtime_error("Cannot open log file " + path);
    }
}

RotatingFileSink::~RotatingFileSink() = default;

bool RotatingFileSink::open(const char* mode) {
    lines.reset();
    file.reset(openClosedLog(path, mode));
    if (!file) {
        return false;
    }
    std::fseek(file.get(), 0, SEEK_END);
    lines = std::make_unique<tarn::utils::StreamLogSink>(file.get(), tarn::utils::LogLevel::Trace);
    return true;
}

void RotatingFileSink::rotate() {
    std::rename(path.c_str(), (path + ".1").c_str());
    open("we");  // empty also where it could not be renamed: the size is kept in any case
}

void RotatingFileSink::write(tarn::utils::LogLevel level, const std::string& message) {
    const std::lock_guard lock(mutex);
    const long size = file ? std::ftell(file.get()) : 0;
    if (size > 0 && static_cast<std::size_t>(size) + message.size() + lineOverhead > maxBytes) {
        rotate();
    }
    if (lines) {
        lines->write(level, message);
    }
}

}  // namespace tarn::peers
