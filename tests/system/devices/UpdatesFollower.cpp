#include "tests/system/devices/UpdatesFollower.h"

#include "platform/socket/Socket.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "proto/service_event.pb.h"

namespace tarn::test {

using tree_updates::TreeFollower;
using Finding = TreeFollower::Finding;

namespace {

constexpr std::uint32_t betweenLooksMs = 50;
constexpr std::uint32_t largestUpdate = 64U << 20U;

}  // namespace

UpdatesFollower::UpdatesFollower(const std::string& endpoint)
    : endpoint(endpoint), thread([this](const std::stop_token& stop) { follow(stop); }) {}

Devices UpdatesFollower::devices() const {
    const std::lock_guard lock(mutex);
    return follower.tree() == nullptr ? Devices() : devicesUnder(*follower.tree());
}

std::uint64_t UpdatesFollower::differences() const {
    const std::lock_guard lock(mutex);
    return applied;
}

std::vector<std::string> UpdatesFollower::problems() const {
    const std::lock_guard lock(mutex);
    return found;
}

void UpdatesFollower::follow(const std::stop_token& stop) {
    bool again = true;
    while (again) {
        socket::Socket socket("Follower of differences", socket::ClosePolicy::Discard);
        socket.setTopic(tree_updates::updateTopic());
        socket.createAndConnect(socket::Protocol::Subscribe,
                                socket::SocketEndpoint::FromString(endpoint), 0);
        again = followUntilLost(socket, stop);
    }
}

// False when it is to end.
bool UpdatesFollower::followUntilLost(socket::Socket& socket, const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        std::string error;
        if (socket.poll(betweenLooksMs, error) != 0) {
            continue;
        }
        Update update;
        socket.receiveProtoBuf(&update, largestUpdate);
        const auto finding = take(update);
        if (finding == Finding::Lost || finding == Finding::Damaged) {
            return true;
        }
    }
    return false;
}

Finding UpdatesFollower::take(Update& update) {
    const std::lock_guard lock(mutex);
    const bool isDifference = update.has_difference();
    const auto finding = follower.take(update);
    applied += isDifference && finding == Finding::Changed ? 1 : 0;
    if (finding == Finding::Damaged) {
        found.push_back("a difference after batch " + std::to_string(follower.sequence()) +
                        " does not fit");
    }
    return finding;
}

}  // namespace tarn::test
