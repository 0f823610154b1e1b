#include "platform/program/Program.h"

#include <exception>
#include <memory>

#include "platform/os/ProcessDefaults.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/ConsoleLogSink.h"

namespace tarn::program {

void setUpProcess() {
    os::ignoreBrokenPipes();
    os::raiseDescriptorLimit();
    utils::setLogSink(std::make_shared<utils::ConsoleLogSink>(utils::LogLevel::Info));
}

int runBody(const std::function<int()>& body) {
    try {
        return body();
    } catch (const std::exception& reason) {
        utils::logFatal(reason.what());
        return failed;
    }
}

}  // namespace tarn::program
