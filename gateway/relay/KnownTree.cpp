#include "gateway/relay/KnownTree.h"

#include <algorithm>

#include "platform/utils/MessageFields.h"
#include "proto/monitoring.pb.h"

namespace tarn::gateway {

using proto::monitoring::DeviceNode;

namespace {

// A few may have come or gone in front of it.
constexpr std::size_t farthest = 3;

}  // namespace

KnownTree::KnownTree(std::string_view node) {
    for (utils::MessageFields fields(node); fields.next();) {
        if (fields.isBytes(DeviceNode::kSubDevicesFieldNumber)) {
            subDevices.push_back(fields.bytes());
        }
    }
}

bool KnownTree::recognises(std::string_view subDevice) {
    const auto end = std::min(next + farthest + 1, subDevices.size());
    for (auto i = next - std::min(next, farthest); i < end; ++i) {
        if (subDevices[i] == subDevice) {
            next = i + 1;
            return true;
        }
    }
    next = std::min(next + 1, subDevices.size());
    return false;
}

std::string_view KnownTree::replaced() const {
    return next > 0 ? subDevices[next - 1] : std::string_view();
}

}  // namespace tarn::gateway
