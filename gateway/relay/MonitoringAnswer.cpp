#include "gateway/relay/MonitoringAnswer.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <limits>

#include "proto/api_service.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;
using Answer = proto::api_service::ServiceToApiReply;
using MonitoringInfo = proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using Batch = proto::service_event::ServiceEventBatch;

namespace {

// So the one message's bytes can be read as the other's.
static_assert(MonitoringInfo::kDeviceTreeFieldNumber + 0 == Batch::kDeviceTreeFieldNumber + 0);

constexpr std::uint32_t tagOf(int field, WireFormatLite::WireType type) {
    return WireFormatLite::MakeTag(field, type);
}

constexpr auto typeTag = tagOf(Answer::kTypeFieldNumber, WireFormatLite::WIRETYPE_VARINT);
constexpr auto successTag = tagOf(Answer::kSuccessFieldNumber, WireFormatLite::WIRETYPE_VARINT);
constexpr auto contentTag =
    tagOf(MonitoringInfo::kBaseFieldNumber, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);

/// The fields of an answer that count.
struct Fields {
    std::uint64_t type = 0;
    std::uint64_t success = 0;
    std::optional<std::string_view> content;
};

bool read(CodedInputStream& input, std::uint32_t tag, std::string_view answer, Fields& fields) {
    if (tag == typeTag) {
        return input.ReadVarint64(&fields.type);
    }
    if (tag == successTag) {
        return input.ReadVarint64(&fields.success);
    }
    if (tag != contentTag) {
        return WireFormatLite::SkipField(&input, tag);
    }
    int length = 0;
    if (!input.ReadVarintSizeAsInt(&length)) {
        return false;
    }
    const auto begin = static_cast<std::size_t>(input.CurrentPosition());
    fields.content = answer.substr(begin, static_cast<std::size_t>(length));
    return input.Skip(length);
}

}  // namespace

std::optional<std::string_view> treeOfAnswer(std::string_view answer) {
    if (answer.size() > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    // libprotobuf reads unsigned bytes.
    CodedInputStream input(
        static_cast<const std::uint8_t*>(static_cast<const void*>(answer.data())),
        static_cast<int>(answer.size()));
    Fields fields;
    while (const std::uint32_t tag = input.ReadTag()) {
        if (!read(input, tag, answer, fields)) {
            return std::nullopt;
        }
    }
    const bool isIt = input.ConsumedEntireMessage() && fields.success != 0 &&
                      fields.type == Answer::GET_MONITORING_INFO;
    return isIt ? fields.content : std::nullopt;
}

}  // namespace tarn::gateway
