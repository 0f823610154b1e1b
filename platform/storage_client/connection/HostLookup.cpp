#include "platform/storage_client/connection/HostLookup.h"

#include <sys/socket.h>

#include <cstring>
#include <future>
#include <thread>
#include <utility>

#include "platform/storage_client/connection/Failure.h"

namespace tarn::storage_client {

namespace {

struct Result {
    Addresses addresses;
    int error = 0;
};

Result ask(const std::string& host, std::uint16_t port, int flags) {
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    Result result;
    result.error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found);
    result.addresses.reset(found);
    return result;
}

// The system's own look-up of names cannot be given a bound: a thread of its own waits for it, and
// ends whenever it does. It owns all that it touches.
Result askInTime(const std::string& host, std::uint16_t port, const tarn::os::Deadline& deadline) {
    std::promise<Result> promise;
    auto answer = promise.get_future();
    std::thread([host, port, promise = std::move(promise)]() mutable {
        promise.set_value(ask(host, port, 0));
    }).detach();
    if (answer.wait_for(deadline.remaining()) != std::future_status::ready) {
        throw Failure(TARN_STORAGE_ERROR_TIMEOUT,
                      "The address of host '" + host + "' was not found in time");
    }
    return answer.get();
}

}  // namespace

Addresses lookUpHost(const std::string& host, std::uint16_t port,
                     const tarn::os::Deadline& deadline) {
    auto result = ask(host, port, AI_NUMERICHOST);
    if (result.error == EAI_NONAME) {
        result = askInTime(host, port, deadline);
    }
    if (result.error != 0) {
        throw Failure(TARN_STORAGE_ERROR_CONNECTION,
                      "Host '" + host + "' has no address: " + ::gai_strerror(result.error));
    }
    return std::move(result.addresses);
}

}  // namespace tarn::storage_client
