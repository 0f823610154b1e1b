#include "gateway/BatchScanner.h"

#include <google/protobuf/io/coded_stream.h>

#include <cstdint>
#include <limits>

#include "proto/monitoring.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using google::protobuf::io::CodedInputStream;
using proto::monitoring::DeviceNode;
using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;

namespace {

constexpr int deepest = 100;  // as the parsers of the subscribers have it

// The kinds of messages in a batch; a leaf has no messages in it.
enum class Kind { Node, Event, Leaf };

enum class WireType : std::uint32_t { Varint = 0, Fixed64 = 1, Length = 2, Fixed32 = 5 };

struct Tag {
    explicit Tag(std::uint32_t tag)
        : field(static_cast<int>(tag >> 3U)), type(WireType{tag & 7U}) {}
    int field;
    WireType type;
};

// Nothing for a field that is no message.
std::optional<Kind> kindOf(Kind parent, int field) {
    switch (parent) {
        case Kind::Node:
            if (field == DeviceNode::kSubDevicesFieldNumber) {
                return Kind::Node;
            }
            return field >= DeviceNode::kGlobalStatusFieldNumber &&
                           field <= DeviceNode::kStatusesFieldNumber
                       ? std::optional(Kind::Leaf)
                       : std::nullopt;
        case Kind::Event:
            return field >= 100 && field <= 102 ? std::optional(Kind::Leaf) : std::nullopt;
        case Kind::Leaf:
            break;
    }
    return std::nullopt;
}

bool isMessage(Kind kind, CodedInputStream& input, int depth);

bool skip(WireType type, CodedInputStream& input) {
    std::uint64_t number = 0;
    int length = 0;
    switch (type) {
        case WireType::Varint:
            return input.ReadVarint64(&number);
        case WireType::Fixed64:
            return input.Skip(8);
        case WireType::Fixed32:
            return input.Skip(4);
        case WireType::Length:
            return input.ReadVarintSizeAsInt(&length) && input.Skip(length);
    }
    return false;
}

bool isMessageOfLength(Kind kind, CodedInputStream& input, int depth) {
    int length = 0;
    if (depth >= deepest || !input.ReadVarintSizeAsInt(&length) ||
        length > input.BytesUntilLimit()) {
        return false;
    }
    const auto outer = input.PushLimit(length);
    const bool good = isMessage(kind, input, depth + 1);
    input.PopLimit(outer);
    return good;
}

bool isField(Tag tag, std::optional<Kind> kind, CodedInputStream& input, int depth) {
    if (tag.field == 0) {
        return false;
    }
    return kind && tag.type == WireType::Length ? isMessageOfLength(*kind, input, depth)
                                                : skip(tag.type, input);
}

bool isMessage(Kind kind, CodedInputStream& input, int depth) {
    while (const std::uint32_t raw = input.ReadTag()) {
        const Tag tag(raw);
        if (!isField(tag, kindOf(kind, tag.field), input, depth)) {
            return false;
        }
    }
    return input.ConsumedEntireMessage();
}

std::optional<Kind> kindInBatch(int field) {
    switch (field) {
        case ServiceEventBatch::kDeviceTreeFieldNumber:
            return Kind::Node;
        case ServiceEventBatch::kEventsFieldNumber:
            return Kind::Event;
        default:
            return std::nullopt;
    }
}

bool isOfTheGateway(int field) {
    return field >= ServiceEventBatch::kCatchUpFieldNumber &&
           field <= ServiceEventBatch::kGatewayInstanceFieldNumber;
}

bool isTree(Tag tag) {
    return tag.field == ServiceEventBatch::kDeviceTreeFieldNumber && tag.type == WireType::Length;
}

}  // namespace

std::optional<ScannedBatch> scanBatch(std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    const auto size = static_cast<int>(bytes.size());
    // libprotobuf reads unsigned bytes.
    CodedInputStream input(static_cast<const std::uint8_t*>(static_cast<const void*>(bytes.data())),
                           size);
    const auto none = input.PushLimit(size);
    ScannedBatch batch;
    std::size_t begin = 0;
    while (const std::uint32_t raw = input.ReadTag()) {
        const Tag tag(raw);
        if (isOfTheGateway(tag.field) || (isTree(tag) && !batch.tree.empty()) ||
            !isField(tag, kindInBatch(tag.field), input, 0)) {
            return std::nullopt;
        }
        const auto end = static_cast<std::size_t>(input.CurrentPosition());
        if (isTree(tag)) {
            batch.tree = bytes.substr(begin, end - begin);
        }
        begin = end;
    }
    const bool isWhole = input.ConsumedEntireMessage();
    input.PopLimit(none);
    return isWhole ? std::optional(batch) : std::nullopt;
}

}  // namespace tarn::gateway
