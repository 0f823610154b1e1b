// Trees as the gateway makes differences of them: whatever their bytes are, who follows has the
// tree that the last batch had.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "gateway/relay/Relay.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/ReverseWriter.h"
#include "platform/tree_updates/TreeFollower.h"

namespace {

using tarn::device_tree::DeviceNode;
using tarn::fuzz::require;
using tarn::gateway::Relay;
using tarn::proto::service_event::ServiceEventBatch;
using tarn::proto::service_event::TreeUpdate;
using tarn::tree_updates::TreeFollower;

std::string batchOf(const std::string& tree) {
    tarn::device_tree::ReverseWriter field;
    field.prepend(tree);
    field.prependFieldHead(ServiceEventBatch::kDeviceTreeFieldNumber, tree.size());
    return std::string(field.view());
}

void follow(TreeFollower& follower, std::string_view bytes) {
    TreeUpdate update;
    require(update.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    const auto finding = follower.take(update);
    require(finding == TreeFollower::Finding::Changed ||
            finding == TreeFollower::Finding::Unchanged);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    tarn::fuzz::Trees input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarn::fuzz::Trees input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    Relay relay("fuzzed");
    TreeFollower follower;
    const auto first = relay.catchUpOfUpdates();
    follow(follower, first.address + first.body);
    for (const auto& tree : input.tree()) {
        const auto batch = batchOf(tree.told().SerializePartialAsString() + tree.raw());
        if (!relay.accept(batch)) {
            continue;
        }
        follow(follower, relay.takeUpdate());
        ServiceEventBatch read;
        require(read.ParseFromString(batch) && follower.tree() != nullptr);
        require(DeviceNode(read.device_tree()) == DeviceNode(*follower.tree()));
    }
    return 0;
}
