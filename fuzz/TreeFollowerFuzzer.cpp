// Updates as one who follows the tree takes them: whatever they are, the tree that he shows has its
// ids in order, none twice, and can be told again; and all of a tree makes good for everything.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "platform/tree_updates/TreeFollower.h"

namespace {

using tarn::fuzz::require;
using tarn::proto::monitoring::DeviceNode;
using tarn::proto::service_event::TreeUpdate;
using tarn::tree_updates::TreeFollower;
using Finding = TreeFollower::Finding;

bool isInOrder(const DeviceNode& node) {
    for (int i = 0; i < node.sub_devices_size(); ++i) {
        if (i > 0 && node.sub_devices(i - 1).id() >= node.sub_devices(i).id()) {
            return false;
        }
        if (!isInOrder(node.sub_devices(i))) {
            return false;
        }
    }
    return true;
}

void takeOne(TreeFollower& follower, const std::string& bytes) {
    TreeUpdate update;
    if (!update.ParsePartialFromString(bytes)) {
        return;
    }
    const bool wasFollowing = follower.isFollowing();
    const auto number = update.batch().empty() ? 0 : update.batch().rbegin()->sequence();
    const auto finding = follower.take(update);
    require(follower.isFollowing() ==
            (finding == Finding::Changed || finding == Finding::Unchanged ||
             (finding == Finding::Nothing && wasFollowing)));
    require(finding != Finding::Changed || follower.sequence() == number);
    require(follower.tree() == nullptr || isInOrder(*follower.tree()));
}

void checkMadeGood(TreeFollower& follower) {
    TreeUpdate whole;
    whole.add_batch()->set_catch_up(true);
    whole.mutable_device_tree()->set_id("root");
    require(follower.take(whole) == Finding::Changed && follower.tree()->id() == "root");
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    tarn::fuzz::Updates input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarn::fuzz::Updates input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    TreeFollower follower;
    for (const auto& update : input.update()) {
        takeOne(follower, update.told().SerializePartialAsString() + update.raw());
    }
    checkMadeGood(follower);
    return 0;
}
