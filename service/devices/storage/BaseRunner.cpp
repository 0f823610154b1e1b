#include "service/devices/storage/BaseRunner.h"

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

bool BaseRunner::waitFor(std::chrono::milliseconds bound) {
    auto result = current.lock();
    return finished.wait_for(result.lock(), bound,
                             [&] { return result->status == Status::Finished; });
}

void BaseRunner::join() {
    thread.stop();
}

void BaseRunner::runOnConnection(const Operation& operation, const Judgement& judgement) {
    Problem problem;
    try {
        problem = perform(operation, judgement);
    } catch (const std::exception& e) {
        problem = e.what();
    }
    finish(problem);
}

BaseRunner::Problem BaseRunner::perform(const Operation& operation,
                                        const Judgement& judgement) const {
    std::int64_t ticket = 0;
    Problem problem;
    auto state = call(operation, ticket, judgement, problem);
    while (state == Call::Waiting) {
        state = call(
            [](tarn_storage_connection* connection, std::int64_t* followed,
               tarn_storage_error* error) {
                return tarn_storage_ticket_wait(connection, *followed, 0, error);
            },
            ticket, judgement, problem);
    }
    return problem;
}

// An operation whose ticket was not told before the time-out cannot be followed.
BaseRunner::Call BaseRunner::call(const Operation& operation, std::int64_t& ticket,
                                  const Judgement& judgement, Problem& problem) const {
    StorageError error;
    const auto connection = connectStorage(address, error);
    if (!connection) {
        utils::logError(error.message());
        problem = "No connection to storage server";
        return Call::Ended;
    }
    const std::stop_callback interrupting(
        stop, [&connection] { tarn_storage_connection_interrupt(connection.get()); });
    const auto result = operation(connection.get(), &ticket, error.get());
    if (error.type() == TARN_STORAGE_ERROR_TIMEOUT && ticket > 0) {
        return Call::Waiting;
    }
    problem = error.isSet() ? Problem(error.message()) : judgement(result);
    return Call::Ended;
}

void BaseRunner::finish(const Problem& problem) {
    auto result = current.lock();
    result->status = Status::Finished;
    result->failed = problem.has_value();
    result->errorMessage = problem.value_or("");
    finished.notify_all();
}

}  // namespace tarn::service::devices
