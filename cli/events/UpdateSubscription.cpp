#include "cli/events/UpdateSubscription.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "cli/CommandError.h"
#include "cli/events/BatchSubscription.h"
#include "platform/socket/Socket.h"
#include "platform/socket/TrustedEndpoint.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using proto::service_event::ServiceEventBatch;
using proto::service_event::TreeUpdate;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;
using Finding = tree_updates::TreeFollower::Finding;
using Received = BatchSource::Received;

namespace {

// They pile up while this process is suspended, and most are small.
constexpr int longestQueue = 1000;

}  // namespace

UpdateSubscription::UpdateSubscription(const tarn::socket::SocketEndpoint& endpoint, Trees trees,
                                       std::chrono::milliseconds patience)
    : endpoint(endpoint), trees(trees), patience(patience) {
    if (const auto why = tarn::socket::whyNotTrusted(endpoint)) {
        throw CommandError(ExitStatus::Failed, *why);
    }
    subscribe();
}

UpdateSubscription::~UpdateSubscription() = default;

// A second subscription of one connection would bring no second catch-up.
void UpdateSubscription::subscribe() {
    try {
        socket = std::make_unique<Socket>("events", ClosePolicy::Discard);
        socket->setQueueLength(longestQueue);
        socket->setTopic(tree_updates::updateTopic());
        socket->createAndConnect(Protocol::Subscribe, endpoint, /*timeoutMs=*/0);
    } catch (const std::runtime_error& reason) {
        throw CommandError(ExitStatus::Failed, reason.what());
    }
    standing = Standing::Awaiting;
    triedAgain = Clock::now() + patience;
}

Received UpdateSubscription::next(ServiceEventBatch& batch, std::chrono::milliseconds bound,
                                  int interruption) {
    if (kept.empty()) {
        const auto received = receive(bound, interruption);
        if (received != Received::Batch) {
            return received;
        }
    }
    if (kept.empty()) {
        return Received::Nothing;
    }
    batch.Swap(&kept.front());
    kept.pop_front();
    return Received::Batch;
}

Received UpdateSubscription::receive(std::chrono::milliseconds bound, int interruption) {
    if (standing == Standing::Awaiting && Clock::now() >= triedAgain) {
        subscribe();
    }
    TreeUpdate update;
    const auto received =
        receiveNext(*socket, update, std::min(bound, untilTriedAgain()), interruption);
    return received == Received::Batch ? take(update) : received;
}

std::chrono::milliseconds UpdateSubscription::untilTriedAgain() const {
    if (standing == Standing::LetIn) {
        return std::chrono::milliseconds::max();
    }
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(triedAgain - Clock::now()));
}

Received UpdateSubscription::take(TreeUpdate& update) {
    if (!update.batch().empty() && update.batch(0).catch_up()) {
        standing = Standing::LetIn;
    }
    const auto finding = trees == Trees::Wanted ? follower.take(update) : Finding::Unchanged;
    if (finding == Finding::Lost || finding == Finding::Damaged) {
        subscribe();
    }
    if (finding == Finding::Damaged) {
        return Received::Garbage;
    }
    for (auto& batch : *update.mutable_batch()) {
        kept.push_back(std::move(batch));
    }
    if (finding == Finding::Changed && follower.tree() != nullptr) {
        *kept.back().mutable_device_tree() = *follower.tree();
    }
    return Received::Batch;
}

}  // namespace tarn::cli
