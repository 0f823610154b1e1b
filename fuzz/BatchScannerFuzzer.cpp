// Batches of the service as the gateway looks them over: whatever their bytes are, what it hands on
// can be read by its subscribers, and is told for what it is; and what it knows already changes
// nothing about that.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/Require.h"
#include "gateway/relay/BatchScanner.h"
#include "gateway/relay/Relay.h"

namespace {

using tarn::fuzz::Batches;
using tarn::fuzz::require;
using tarn::gateway::Relay;
using tarn::gateway::scanBatch;
using tarn::gateway::ScannedBatch;
using tarn::proto::service_event::ServiceEventBatch;

void checkContent(const ScannedBatch& scanned, const std::string& bytes) {
    ServiceEventBatch batch;
    require(batch.ParseFromString(bytes));
    require(scanned.number == batch.service_sequence());
    require(scanned.service == batch.service_instance());
    require(scanned.tree.empty() == !batch.has_device_tree());
    ServiceEventBatch tree;
    require(tree.ParseFromArray(scanned.tree.data(), static_cast<int>(scanned.tree.size())));
    require(tree.device_tree().SerializeAsString() == batch.device_tree().SerializeAsString());
}

void checkHandedOn(const std::string& head, const std::string& bytes) {
    ServiceEventBatch batch;
    require(batch.ParseFromString(head + bytes) && batch.sequence() > 0);
}

void checkCatchUp(Relay& relay) {
    const auto catchUp = relay.catchUp();
    ServiceEventBatch batch;
    require(batch.ParseFromString(catchUp.address + catchUp.body) && batch.catch_up());
    require(batch.has_device_tree() == relay.knowsTree());
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    Batches input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Batches input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    Relay relay("fuzzed");
    std::string known;
    for (const auto& batch : input.batch()) {
        const auto bytes = batch.told().SerializePartialAsString() + batch.raw();
        const auto scanned = scanBatch(bytes);
        const auto withKnown = scanBatch(bytes, known);
        require(scanned.has_value() == withKnown.has_value());
        const auto head = relay.accept(bytes);
        require(head.has_value() == scanned.has_value());
        if (!scanned) {
            continue;
        }
        require(scanned->tree == withKnown->tree && scanned->number == withKnown->number);
        checkContent(*scanned, bytes);
        checkHandedOn(*head, bytes);
        if (!scanned->tree.empty()) {
            known = scanned->tree;
        }
    }
    checkCatchUp(relay);
    return 0;
}
