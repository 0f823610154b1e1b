#include "tests/support/LogCapture.h"

#include <algorithm>

#include "platform/utils/EscapedText.h"

namespace tarn::test {

class LogCapture::Sink : public utils::LogSink {
  public:
    explicit Sink(utils::LogLevel lowest) : lowest(lowest) {}

    bool isEnabled(utils::LogLevel level) const override { return level >= lowest; }

    void write(utils::LogLevel level, const std::string& message) override {
        const std::lock_guard lock(mutex);
        lines.push_back(std::string(utils::logLevelName(level)) + " " + message);
        written.notify_all();
    }

    template <typename Predicate>
    bool any(Predicate predicate) {
        const std::lock_guard lock(mutex);
        return std::any_of(lines.begin(), lines.end(), predicate);
    }

    template <typename Predicate>
    bool waitForAny(Predicate predicate, std::chrono::milliseconds bound) {
        std::unique_lock lock(mutex);
        return written.wait_for(lock, bound,
                                [&] { return std::any_of(lines.begin(), lines.end(), predicate); });
    }

    std::vector<std::string> copy() {
        const std::lock_guard lock(mutex);
        return lines;
    }

  private:
    const utils::LogLevel lowest;
    std::mutex mutex;
    std::condition_variable written;
    std::vector<std::string> lines;
};

namespace {

auto holds(const std::string& part) {
    return [part = utils::escapeForLog(part)](const std::string& line) {
        return line.find(part) != std::string::npos;
    };
}

}  // namespace

LogCapture::LogCapture(utils::LogLevel lowest)
    : sink(std::make_shared<Sink>(lowest)), previous(utils::setLogSink(sink)) {}

LogCapture::~LogCapture() {
    utils::setLogSink(previous);
}

std::vector<std::string> LogCapture::lines() const {
    return sink->copy();
}

bool LogCapture::has(const std::string& line) const {
    const auto escaped = utils::escapeForLog(line);
    return sink->any([&](const std::string& candidate) { return candidate == escaped; });
}

bool LogCapture::contains(const std::string& part) const {
    return sink->any(holds(part));
}

bool LogCapture::waitFor(const std::string& part, std::chrono::milliseconds bound) const {
    return sink->waitForAny(holds(part), bound);
}

}  // namespace tarn::test
