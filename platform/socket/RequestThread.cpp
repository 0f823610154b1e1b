#include "platform/socket/RequestThread.h"

#include <utility>

#include "platform/os/SignalsBlocked.h"

namespace tarn::socket {

namespace {

// Nothing is done when it has passed: what there is to do wakes the thread.
constexpr std::chrono::hours longestWait{1};

}  // namespace

RequestThread::RequestThread(std::unique_ptr<Socket> bound, RequestServer::Serve serve,
                             RequestServer::LogTexts texts)
    : socket(std::move(bound)), server(*socket, std::move(serve), std::move(texts)) {
    const os::SignalsBlocked duringStart;
    thread = std::thread([this] { run(); });
}

RequestThread::~RequestThread() {
    mustStop = true;
    stop.ring();
    thread.join();
}

void RequestThread::run() {
    try {
        while (!mustStop) {
            server.serveOne(longestWait, stop.descriptor());
        }
    } catch (const ZmqContextTerminationException&) {
        return;  // there will be no requests any more
    }
}

}  // namespace tarn::socket
