#pragma once

#include <optional>
#include <string_view>

namespace tarn::gateway {

/// What is to be known of a serialised ServiceEventBatch to hand it on.
struct ScannedBatch {
    /// The device tree's field alone, which is a batch by itself; empty where there is no tree. A
    /// view into the batch.
    std::string_view tree;
};

/// Looks a batch over without building it, which is many times cheaper than parsing. Nothing for
/// bytes that would not parse, and for what no service sends: two trees, or fields of the gateway.
std::optional<ScannedBatch> scanBatch(std::string_view bytes);

}  // namespace tarn::gateway
