#include "fuzz/support/QuietLog.h"

#include <memory>

#include "platform/utils/Log.h"

namespace tarn::fuzz {

namespace {

struct Nothing : utils::LogSink {
    bool isEnabled(utils::LogLevel) const override { return true; }
    void write(utils::LogLevel, const std::string&) override {}
};

}  // namespace

void logIntoNothing() {
    utils::setLogSink(std::make_shared<Nothing>());
}

}  // namespace tarn::fuzz
