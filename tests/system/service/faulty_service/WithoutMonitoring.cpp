// TarnService in whose process somebody else listens where the device events are to arrive.
#include "platform/socket/Socket.h"
#include "service/devices/DeviceEventListener.h"
#include "service/runtime/ServiceProcess.h"

int main(int argc, char** argv) {
    tarn::socket::Socket inTheWay("In the way", tarn::socket::ClosePolicy::Discard);
    inTheWay.createAndConnect(
        tarn::socket::Protocol::Pull,
        tarn::service::devices::DeviceEventListener::GetInternalEventEndpoint(), 0);
    return tarn::service::ServiceProcess().run(argc, argv);
}
