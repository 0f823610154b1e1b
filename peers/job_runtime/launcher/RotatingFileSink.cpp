#include "peers/job_runtime/launcher/RotatingFileSink.h"

#include <stdexcept>
#include <utility>

namespace tarn::peers {

namespace {

constexpr std::size_t lineOverhead = 32;  // time, level, line end

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
    file.reset(std::fopen(path.c_str(), mode));
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
