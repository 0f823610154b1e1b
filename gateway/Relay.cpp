#include "gateway/Relay.h"

#include <utility>

#include "gateway/BatchScanner.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using proto::service_event::ServiceEventBatch;

namespace {

constexpr unsigned varint = 0;

// Fields are written in the order of their numbers, and none that the gateway sets is lower.
std::string beginningWith(int field) {
    return {static_cast<char>((static_cast<unsigned>(field) << 3U) | varint)};
}

}  // namespace

const std::string Relay::batchBeginning = beginningWith(ServiceEventBatch::kSequenceFieldNumber);
const std::string Relay::filler = batchBeginning + '\0';

Relay::Relay(std::string instance) : instance(std::move(instance)) {}

std::optional<std::string> Relay::accept(std::string_view batch) {
    const auto scanned = scanBatch(batch, tree);
    if (!scanned) {
        return std::nullopt;
    }
    if (!scanned->tree.empty()) {
        tree = scanned->tree;
    }
    ServiceEventBatch head;
    head.set_sequence(++sequence);
    head.set_gateway_instance(instance);
    return head.SerializeAsString();
}

Relay::CatchUp Relay::catchUp() {
    ServiceEventBatch address;
    address.set_newcomer(++newcomers);
    ServiceEventBatch head;
    head.set_catch_up(true);
    head.set_sequence(sequence);
    head.set_gateway_instance(instance);
    return {address.SerializeAsString(), head.SerializeAsString() + tree};
}

}  // namespace tarn::gateway
