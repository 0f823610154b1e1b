#include "platform/resource_manager/server/RequestThread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>

#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

namespace {

constexpr std::uint32_t pollMs = 100;
constexpr auto pauseAfterError = std::chrono::milliseconds(100);
constexpr std::uint32_t maxRequestBytes = 16U << 20U;

void pauseUnlessStopped(const std::stop_token& stop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait_for(lock, stop, pauseAfterError, [] { return false; });
}

}  // namespace

RequestThread::RequestThread(std::unique_ptr<tarn::socket::Socket> socket,
                             std::shared_ptr<Registry> registry)
    : MessageFormatter("ResourceManager"),
      socket(std::move(socket)),
      registry(registry),
      dispatcher(std::move(registry)),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

// What goes wrong with one request costs the next one nothing.
void RequestThread::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        try {
            waitAndServe(stop);
        } catch (const tarn::socket::ZmqContextTerminationException&) {
            return;
        } catch (const std::exception& e) {
            notServed.log(formatMessage(e.what()));
        }
    }
}

void RequestThread::waitAndServe(const std::stop_token& stop) {
    std::string error;
    switch (socket->poll(pollMs, error)) {
        case 0:
            return serveOneRequest();
        case 1:
            return;
        default:
            notWaited.log(formatMessage("Waiting for requests failed: " + error));
            pauseUnlessStopped(stop);
    }
}

// Bytes that are no request have no sender any more who could be answered.
void RequestThread::serveOneRequest() {
    tarn::proto::resource_manager::Request request;
    socket->receiveProtoBuf(&request, maxRequestBytes);
    const auto reply = dispatcher.answer(request);
    socket->sendProtoBuf(&reply);
    // Every job looks after its entry once a second: what is missing on the disk is found then.
    registry->storeWhatIsMissing();
}

}  // namespace tarn::resource_manager
