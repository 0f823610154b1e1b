#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::socket::test {

/// Some message of the system: a text is all that these tests need of one.
using Message = proto::job_monitoring::JobEvent;

inline constexpr std::uint32_t maxBytes = 1U << 20;

/// Long enough for anything that happens at all.
inline constexpr std::uint32_t patienceMs = 10000;

/// Endpoints that nobody else uses.
SocketEndpoint ipcEndpoint();
SocketEndpoint inProcessEndpoint();
SocketEndpoint tcpEndpoint(const std::string& host = "127.0.0.1");

std::unique_ptr<Socket> open(Protocol protocol, const SocketEndpoint& endpoint,
                             std::uint32_t timeoutMs = 0,
                             ClosePolicy closePolicy = ClosePolicy::Discard);

Message message(const std::string& text);

void send(Socket& socket, const std::string& text);

/// The text of the next message; throws what receiving throws.
std::string receive(Socket& socket);

std::chrono::milliseconds durationOf(const std::function<void()>& action);
/// On a busy machine any single step may take long: what is always slow is slow three times.
std::chrono::milliseconds quickestOfThree(const std::function<void()>& action);

/// What poll returns; a failure of the test when it reports an error.
int poll(Socket& socket, std::uint32_t timeoutMs);

}  // namespace tarn::socket::test
