// Stands between the service, which sends its events to one receiver, and all who want them.

#include <signal.h>

#include <exception>
#include <iostream>
#include <memory>

#include "gateway/Gateway.h"
#include "gateway/GatewayOptions.h"
#include "gateway/Readiness.h"
#include "platform/os/ProcessDefaults.h"
#include "platform/os/SignalInput.h"
#include "platform/utils/Log.h"
#include "platform/utils/log/ConsoleLogSink.h"

int main(int argc, char** argv) {
    using namespace tarn;
    int exitStatus = 0;
    const auto options = gateway::parseGatewayOptions(argc, argv, std::cout, std::cerr, exitStatus);
    if (!options) {
        return exitStatus;
    }
    os::ignoreBrokenPipes();
    os::raiseDescriptorLimit();
    utils::setLogSink(std::make_shared<utils::ConsoleLogSink>(utils::LogLevel::Info));
    try {
        os::SignalInput signals{SIGINT, SIGTERM, SIGUSR1};
        gateway::Gateway relaying(*options);
        gateway::announceReadiness();
        relaying.run(signals);
        return 0;
    } catch (const std::exception& failure) {
        utils::logFatal(std::string("Gateway > ") + failure.what());
        return 1;
    }
}
