// Stands between the service, which sends its events to one receiver, and all who want them.

#include "gateway/Gateway.h"
#include "gateway/GatewayOptions.h"
#include "gateway/Readiness.h"
#include "gateway/SignalInput.h"
#include "platform/program/Program.h"

int main(int argc, char** argv) {
    using namespace tarn;
    return program::run(argc, argv, gateway::parseGatewayOptions,
                        [](const gateway::GatewayOptions& options) {
                            gateway::SignalInput signals;
                            gateway::Gateway relaying(options);
                            gateway::announceReadiness();
                            relaying.run(signals);
                            return program::done;
                        });
}
