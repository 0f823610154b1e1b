#include "service/devices/protocol/NamedEventEndpoint.h"

#include "service/devices/DeviceEventListener.h"

namespace tarn::service::devices {

bool NamedEventEndpoint::name(const std::string& endpoint, std::string& error) {
    if (endpoint == text) {
        return true;
    }
    release();
    if (!listener.listenFor(endpoint, error)) {
        return false;
    }
    text = endpoint;
    return true;
}

void NamedEventEndpoint::release() {
    if (!text.empty()) {
        listener.releaseOne(text);
        text.clear();
    }
}

}  // namespace tarn::service::devices
