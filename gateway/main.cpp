// Stands between the service, which sends its events to one receiver, and all who want them.

#include <signal.h>

#include "gateway/Gateway.h"
#include "gateway/GatewayOptions.h"
#include "platform/access/TcpAccess.h"
#include "platform/os/SignalInput.h"
#include "platform/program/Program.h"
#include "platform/program/Readiness.h"

int main(int argc, char** argv) {
    using namespace tarn;
    return program::run(argc, argv, gateway::parseGatewayOptions,
                        [](const gateway::GatewayOptions& options) {
                            os::SignalInput signals{SIGINT, SIGTERM, SIGUSR1};
                            access::checkReach(options.tcpAccess, options.events);
                            access::checkReach(options.tcpAccess, options.publish);
                            const access::TcpAccess protection(options.tcpAccess);
                            gateway::Gateway relaying(options);
                            program::announceReadiness();
                            relaying.run(signals);
                            return program::done;
                        });
}
