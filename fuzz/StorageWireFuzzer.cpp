// What a loop storage client sends: whatever its bytes are, and in whatever pieces they come, they
// are refused or are messages, and the same ones.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "peers/storage_elements/FrameFormat.h"
#include "platform/storage_wire/MessageParser.h"
#include "proto/storage_wire.pb.h"

namespace {

using tarn::storage_wire::MessageParser;
using tarn::storage_wire::WireError;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Writes down what it is given, and keeps watch over the order.
struct Record : MessageParser::Sink {
    void takeGreeting() override { text += "greeting\n"; }
    MessageParser::Next takeMessage(std::string_view message, std::uint32_t payloadSize) override {
        require(payloadLeft == 0 && message.size() <= tarn::storage_wire::largestRequest);
        tarn::proto::storage_wire::Request request;
        if (request.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
            request.SerializeAsString();
        }
        text.append(message) += "\n";
        payloadLeft = payloadSize;
        return message.size() % 2 == 0 ? MessageParser::Next::GoOn : MessageParser::Next::Pause;
    }
    MessageParser::Next takePayload(std::string_view piece, bool isLast) override {
        require(!piece.empty() && piece.size() <= payloadLeft);
        payloadLeft -= static_cast<std::uint32_t>(piece.size());
        require(isLast == (payloadLeft == 0));
        text.append(piece);
        return MessageParser::Next::GoOn;
    }

    std::string text;
    std::uint32_t payloadLeft = 0;
};

std::string parse(std::string_view bytes, std::size_t pieceSize) {
    MessageParser parser;
    Record record;
    try {
        while (!bytes.empty()) {
            const auto used = parser.feed(bytes.substr(0, pieceSize), record);
            require(used > 0 && used <= pieceSize);
            bytes.remove_prefix(used);
        }
    } catch (const WireError& error) {
        record.text += error.what();
    }
    return record.text;
}

void decodeAsFrame(std::string_view bytes) {
    const auto frame = tarn::peers::storage_elements::decodeFrame(bytes);
    if (frame) {
        require(frame->head.caps.size() + frame->bytes.size() < bytes.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    decodeAsFrame(bytes);
    const auto greeting = tarn::storage_wire::makeGreeting();
    const auto greeted = std::string(greeting.data(), greeting.size()) + bytes;
    for (const auto& stream : {bytes, greeted}) {
        require(parse(stream, stream.size() + 1) == parse(stream, 1));
        require(parse(stream, stream.size() + 1) == parse(stream, 7));
    }
    return 0;
}
