#include "gateway/relay/Relay.h"

#include <google/protobuf/wire_format_lite.h>

#include <utility>

#include "gateway/relay/BatchScanner.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using proto::service_event::ServiceEventBatch;
using Wire = google::protobuf::internal::WireFormatLite;

namespace {

// Fields are written in the order of their numbers, and none that the gateway sets is lower.
std::string beginningWith(int field) {
    return {static_cast<char>(Wire::MakeTag(field, Wire::WIRETYPE_VARINT))};
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
    if (service.next(*scanned) == ServiceSequence::Finding::MayHaveMissing) {
        standing = Standing::InDoubt;
        ++doubts;
    }
    auto head = nextHead(/*askedFor=*/false);
    noteUpdate(head, batch, *scanned);
    if (!scanned->tree.empty()) {
        tree = scanned->tree;
        standing = Standing::Certain;
    }
    return head;
}

// Before the tree becomes the last one.
void Relay::noteUpdate(std::string_view head, std::string_view batch, const ScannedBatch& scanned) {
    if (areUpdatesWanted) {
        updates.add(head, batch, scanned, tree);
    }
}

std::optional<std::uint64_t> Relay::doubt() const {
    return standing == Standing::InDoubt ? std::optional(doubts) : std::nullopt;
}

std::optional<Relay::Settlement> Relay::settle(std::uint64_t inDoubt, std::string_view treeOnly) {
    const auto scanned = scanBatch(treeOnly, tree);
    if (doubt() != inDoubt || !scanned || scanned->tree.empty()) {
        return std::nullopt;
    }
    standing = Standing::Certain;
    if (tree == scanned->tree) {
        return std::nullopt;
    }
    auto head = nextHead(/*askedFor=*/true);
    noteUpdate(head, scanned->tree, *scanned);
    tree = scanned->tree;
    return Settlement{std::move(head), tree};
}

std::string Relay::nextHead(bool askedFor) {
    ServiceEventBatch head;
    head.set_sequence(++sequence);
    head.set_gateway_instance(instance);
    if (askedFor) {
        head.set_asked_for(true);
    }
    return head.SerializeAsString();
}

Relay::CatchUp Relay::catchUp() {
    ServiceEventBatch address;
    address.set_newcomer(++newcomers);
    return {address.SerializeAsString(), catchUpHead() + tree};
}

Relay::CatchUp Relay::catchUpOfUpdates() {
    areUpdatesWanted = true;
    return {TreeUpdates::address(++newcomers), TreeUpdates::catchUp(catchUpHead(), tree)};
}

std::string Relay::catchUpHead() const {
    ServiceEventBatch head;
    head.set_catch_up(true);
    head.set_sequence(sequence);
    head.set_gateway_instance(instance);
    return head.SerializeAsString();
}

}  // namespace tarn::gateway
