#include "gateway/relay/BatchScanner.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <limits>

#include "gateway/relay/KnownTree.h"
#include "platform/utils/MessageFields.h"
#include "proto/monitoring.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using google::protobuf::io::CodedInputStream;
using Wire = google::protobuf::internal::WireFormatLite;
using proto::monitoring::DeviceNode;
using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;

namespace {

constexpr int deepest = 100;  // as the parsers of the subscribers have it

// The kinds of messages in a batch; a leaf has no messages in it.
enum class Kind { Node, Event, Leaf };

struct Tag {
    explicit Tag(std::uint32_t tag)
        : field(Wire::GetTagFieldNumber(tag)), type(Wire::GetTagWireType(tag)) {}
    int field;
    Wire::WireType type;
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

// The parsers of the subscribers take no more bytes for a field's number and for a length; what
// reads them here would.
constexpr int longestHead = 5;

bool readLength(CodedInputStream& input, int& length) {
    const int begin = input.CurrentPosition();
    return input.ReadVarintSizeAsInt(&length) && input.CurrentPosition() - begin <= longestHead;
}

// 0 at the end of the message, and for what is no number.
std::uint32_t readTag(CodedInputStream& input) {
    const int begin = input.CurrentPosition();
    const auto tag = input.ReadTag();
    return input.CurrentPosition() - begin <= longestHead ? tag : 0;
}

// Groups are refused: nobody sends them.
bool skip(Wire::WireType type, CodedInputStream& input) {
    std::uint64_t number = 0;
    int length = 0;
    switch (type) {
        case Wire::WIRETYPE_VARINT:
            return input.ReadVarint64(&number);
        case Wire::WIRETYPE_FIXED64:
            return input.Skip(8);
        case Wire::WIRETYPE_FIXED32:
            return input.Skip(4);
        case Wire::WIRETYPE_LENGTH_DELIMITED:
            return readLength(input, length) && input.Skip(length);
        default:
            return false;
    }
}

/// Reads through bytes. `known` is the message that was good where this one is now, or empty.
class Scan {
  public:
    explicit Scan(std::string_view bytes)
        : bytes(bytes),
          // libprotobuf reads unsigned bytes.
          input(static_cast<const std::uint8_t*>(static_cast<const void*>(bytes.data())),
                static_cast<int>(bytes.size())) {}

    CodedInputStream& stream() { return input; }

    bool isField(Tag tag, std::optional<Kind> kind, int depth, std::string_view known) {
        if (tag.field == 0) {
            return false;
        }
        if (!kind || tag.type != Wire::WIRETYPE_LENGTH_DELIMITED) {
            return skip(tag.type, input);
        }
        int length = 0;
        return depth < deepest && readLength(input, length) && length <= input.BytesUntilLimit() &&
               isMessageOfLength(*kind, length, depth, known);
    }

  private:
    bool isMessageOfLength(Kind kind, int length, int depth, std::string_view known) {
        const auto outer = input.PushLimit(length);
        const bool good =
            kind == Kind::Node ? isNode(depth + 1, known) : isMessage(kind, depth + 1);
        input.PopLimit(outer);
        return good;
    }

    bool isMessage(Kind kind, int depth) {
        while (const std::uint32_t raw = readTag(input)) {
            const Tag tag(raw);
            if (!isField(tag, kindOf(kind, tag.field), depth, {})) {
                return false;
            }
        }
        return input.ConsumedEntireMessage();
    }

    bool isNode(int depth, std::string_view known) {
        KnownTree knownHere(known);
        while (const std::uint32_t raw = readTag(input)) {
            const Tag tag(raw);
            const auto kind = kindOf(Kind::Node, tag.field);
            const bool good = kind == Kind::Node && tag.type == Wire::WIRETYPE_LENGTH_DELIMITED
                                  ? isSubDevice(depth, knownHere)
                                  : isField(tag, kind, depth, {});
            if (!good) {
                return false;
            }
        }
        return input.ConsumedEntireMessage();
    }

    bool isSubDevice(int depth, KnownTree& known) {
        int length = 0;
        if (depth >= deepest || !readLength(input, length) || length > input.BytesUntilLimit()) {
            return false;
        }
        const auto begin = static_cast<std::size_t>(input.CurrentPosition());
        return known.recognises(bytes.substr(begin, static_cast<std::size_t>(length)))
                   ? input.Skip(length)
                   : isMessageOfLength(Kind::Node, length, depth, known.replaced());
    }

    const std::string_view bytes;
    CodedInputStream input;
};

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
    return (field >= ServiceEventBatch::kCatchUpFieldNumber &&
            field <= ServiceEventBatch::kNewcomerFieldNumber) ||
           field == ServiceEventBatch::kAskedForFieldNumber;
}

bool isTree(Tag tag) {
    return tag.field == ServiceEventBatch::kDeviceTreeFieldNumber &&
           tag.type == Wire::WIRETYPE_LENGTH_DELIMITED;
}

// The field is known to be good.
void note(std::string_view bytes, ScannedBatch& batch) {
    utils::MessageFields field(bytes);
    field.next();
    if (field.isBytes(ServiceEventBatch::kDeviceTreeFieldNumber)) {
        batch.tree = bytes;
    } else if (field.isInteger(ServiceEventBatch::kServiceSequenceFieldNumber)) {
        batch.number = field.integer();
    } else if (field.isBytes(ServiceEventBatch::kServiceInstanceFieldNumber)) {
        batch.service = field.bytes();
    }
}

}  // namespace

std::optional<ScannedBatch> scanBatch(std::string_view bytes, std::string_view knownTree) {
    if (bytes.size() > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    Scan scan(bytes);
    auto& input = scan.stream();
    const auto none = input.PushLimit(static_cast<int>(bytes.size()));
    utils::MessageFields known(knownTree);
    known.next();
    ScannedBatch batch;
    std::size_t begin = 0;
    while (const std::uint32_t raw = readTag(input)) {
        const Tag tag(raw);
        if (isOfTheGateway(tag.field) || (isTree(tag) && !batch.tree.empty()) ||
            !scan.isField(tag, kindInBatch(tag.field), 0, known.bytes())) {
            return std::nullopt;
        }
        const auto end = static_cast<std::size_t>(input.CurrentPosition());
        note(bytes.substr(begin, end - begin), batch);
        begin = end;
    }
    const bool isWhole = input.ConsumedEntireMessage();
    input.PopLimit(none);
    return isWhole ? std::optional(batch) : std::nullopt;
}

}  // namespace tarn::gateway
