#include "platform/resource_manager/RequestThread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/utils/Log.h"
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
      dispatcher(std::move(registry)),
      thread([this](const std::stop_token& stop) { run(stop); }) {}

void RequestThread::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        try {
            serveNext();
        } catch (const tarn::socket::ZmqContextTerminationException&) {
            return;
        } catch (const std::exception& e) {
            tarn::utils::logError(formatMessage(e.what()));
            pauseUnlessStopped(stop);
        }
    }
}

void RequestThread::serveNext() {
    std::string error;
    switch (socket->poll(pollMs, error)) {
        case 0:
            return serveOneRequest();
        case 1:
            return;
        default:
            throw std::runtime_error("Waiting for requests failed: " + error);
    }
}

void RequestThread::serveOneRequest() {
    tarn::proto::resource_manager::Reply reply;
    try {
        tarn::proto::resource_manager::Request request;
        socket->receiveProtoBuf(&request, maxRequestBytes);
        reply = dispatcher.answer(request);
    } catch (const tarn::socket::ZmqContextTerminationException&) {
        throw;
    } catch (const std::exception& e) {
        tarn::utils::logError(formatMessage(e.what()));
        reply = unreadableRequestReply(e.what());
    }
    try {
        socket->sendProtoBuf(&reply);
    } catch (const tarn::socket::ZmqContextTerminationException&) {
        throw;
    } catch (const std::exception& e) {
        tarn::utils::logWarning(formatMessage(std::string("Reply not sent: ") + e.what()));
    }
}

}  // namespace tarn::resource_manager
