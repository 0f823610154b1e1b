#include "tests/service/devices/support/FakeDevice.h"

#include <stdexcept>

#include "platform/socket/Socket.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::test {

using proto::monitoring::DeviceToTarnServiceReply;
using proto::monitoring::GetDescriptionReply;

namespace {

constexpr std::uint32_t letInWithinMs = 10000;

// Closing goes on after a socket has gone. When the library has brought two others together, who
// was connected to that one has heard of its end.
void letSomebodyIn() {
    using socket::ClosePolicy;
    using socket::Protocol;
    const auto endpoint = socket::SocketEndpoint::FromString(uniqueEndpoint());
    socket::Socket answering("who comes after a fake device", ClosePolicy::Discard);
    answering.createAndConnect(Protocol::Reply, endpoint, 0);
    socket::Socket asking("who asks him", ClosePolicy::Discard);
    asking.createAndConnect(Protocol::Request, endpoint, letInWithinMs);
}

}  // namespace

FakeDevice::FakeDevice(device_tree::DeviceNode node)
    : address(uniqueEndpoint()), node(std::move(node)) {}

FakeDevice::~FakeDevice() {
    die();
}

void FakeDevice::begin() {
    die();
    auto socket = std::make_unique<socket::Socket>("fake device", socket::ClosePolicy::Flush);
    socket->createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(address),
                             0);
    thread = std::jthread(
        [this, socket = std::move(socket)](const std::stop_token& stop) { run(*socket, stop); });
}

void FakeDevice::die() {
    if (thread.joinable()) {
        thread = std::jthread();
        letSomebodyIn();
    }
}

void FakeDevice::describeAs(device_tree::DeviceNode newNode) {
    const std::lock_guard lock(mutex);
    node = std::move(newNode);
}

void FakeDevice::nameEventEndpoint(const std::string& endpoint) {
    const std::lock_guard lock(mutex);
    eventEndpoint = endpoint;
}

void FakeDevice::answerWith(Answer newAnswer) {
    const std::lock_guard lock(mutex);
    answer = newAnswer;
}

void FakeDevice::hold() {
    const std::lock_guard lock(mutex);
    holding = true;
}

void FakeDevice::release() {
    const std::lock_guard lock(mutex);
    holding = false;
    changed.notify_all();
}

std::vector<FakeDevice::Request::Type> FakeDevice::waitForRequests(std::size_t count) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(20),
                          [&] { return requests.size() >= count; })) {
        throw std::runtime_error("only " + std::to_string(requests.size()) + " requests came");
    }
    std::vector<Request::Type> types;
    for (const auto& request : requests) {
        types.push_back(request.type());
    }
    return types;
}

FakeDevice::Request FakeDevice::lastRequest() {
    const std::lock_guard lock(mutex);
    return requests.back();
}

void FakeDevice::run(socket::Socket& socket, const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        std::string error;
        if (socket.poll(10, error) != 0) {
            continue;
        }
        Request request;
        socket.receiveProtoBuf(&request, 1 << 20);
        DeviceToTarnServiceReply reply;
        {
            std::unique_lock lock(mutex);
            requests.push_back(request);
            changed.notify_all();
            changed.wait(lock, stop, [this] { return !holding; });
            if (answer == Answer::Silence || stop.stop_requested()) {
                continue;
            }
            answerTo(request, reply);
        }
        try {
            socket.sendProtoBuf(&reply);
        } catch (const std::runtime_error&) {
            // whoever asked has gone
        }
    }
}

void FakeDevice::answerTo(const Request& request, DeviceToTarnServiceReply& reply) const {
    reply.set_type(answer == Answer::WrongType ? Request::UNKNOWN : request.type());
    reply.set_success(answer != Answer::Refusal);
    if (answer == Answer::Refusal) {
        reply.set_error_message("no picture");
    }
    if (request.type() == Request::GET_DESCRIPTION && answer == Answer::Good) {
        auto& description = *reply.MutableExtension(GetDescriptionReply::base);
        *description.mutable_device() = node.toProtoBuf();
        if (!eventEndpoint.empty()) {
            description.set_event_endpoint(eventEndpoint);
        }
    }
}

}  // namespace tarn::test
