#pragma once

#include <optional>
#include <string_view>

namespace tarn::gateway {

/// The device tree in a serialised answer to GET_MONITORING_INFO, as a serialised ServiceEventBatch
/// of nothing else; a view into the answer. What is in it has not been looked over. Nothing for
/// bytes that are no such answer, or one that tells of a failure.
std::optional<std::string_view> treeOfAnswer(std::string_view answer);

}  // namespace tarn::gateway
