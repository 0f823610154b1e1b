#include "service/devices/BaseRunner.h"

#include <exception>
#include <utility>

#include "platform/utils/Log.h"

namespace tarn::service::devices {

BaseRunner::BaseRunner(StorageAddress address, std::uint64_t size, std::int64_t trackId)
    : address(std::move(address)), size(size), current({.errorMessage = {}, .trackId = trackId}) {}

void BaseRunner::start() {
    if (result().status == Status::Finished) {
        return;
    }
    try {
        thread.start([this](const std::stop_token& given) {
            stop = given;
            run();
        });
    } catch (const std::exception& e) {
        finish(e.what());
    }
}

bool BaseRunner::waitUntil(std::chrono::steady_clock::time_point end) {
    auto result = current.lock();
    return finished.wait_until(result.lock(), end,
                               [&] { return result->status == Status::Finished; });
}

void BaseRunner::join() {
    thread.stop();
}

void BaseRunner::runOnConnection(const Operation& operation) {
    Problem problem;
    try {
        problem = perform(operation);
    } catch (const std::exception& e) {
        problem = e.what();
    }
    finish(problem);
}

BaseRunner::Problem BaseRunner::perform(const Operation& operation) const {
    StorageError error;
    const auto connection = connectStorage(address, error);
    if (!connection) {
        utils::logError(error.message());
        return "No connection to storage server";
    }
    const std::stop_callback interrupting(
        stop, [&connection] { tarn_storage_connection_interrupt(connection.get()); });
    return operation(*connection);
}

void BaseRunner::finish(const Problem& problem) {
    auto result = current.lock();
    result->status = Status::Finished;
    result->failed = problem.has_value();
    result->errorMessage = problem.value_or("");
    finished.notify_all();
}

}  // namespace tarn::service::devices
