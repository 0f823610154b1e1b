#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarn::gateway {

/// What is to be known of a serialised ServiceEventBatch to hand it on.
struct ScannedBatch {
    /// The device tree's field alone, which is a batch by itself; empty where there is no tree. A
    /// view into the batch.
    std::string_view tree;
    /// What the service calls it: 0 and empty where the service does not number its batches.
    std::uint64_t number = 0;
    std::string_view service;
};

/// Looks a batch over without building it, which is many times cheaper than parsing. Nothing for
/// bytes that would not parse, and for what no service sends: two trees, or fields of the gateway.
/// The bytes must outlive the result.
///
/// `knownTree` may be the tree that a batch was found to have; what comes again of it is only
/// compared, which is many times cheaper again.
std::optional<ScannedBatch> scanBatch(std::string_view bytes, std::string_view knownTree = {});

}  // namespace tarn::gateway
