#include "service/events/EventEmitter.h"

namespace tarn::service {

EventEmitter& GetEventEmitter() {
    static EventEmitter emitter;
    return emitter;
}

void StartEventEmitter(const socket::SocketEndpoint& endpoint) {
    GetEventEmitter().startThread(endpoint);
}

void StopEventEmitter() {
    GetEventEmitter().stopThread();
}

}  // namespace tarn::service
