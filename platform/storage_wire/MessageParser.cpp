#include "platform/storage_wire/MessageParser.h"

#include <algorithm>

namespace tarn::storage_wire {

namespace {

void checkGreetingOf(const std::string& bytes) {
    switch (checkGreeting(bytes)) {
        case GreetingCheck::Fits:
            return;
        case GreetingCheck::OtherVersion:
            throw WireError("The client speaks another version of the protocol");
        case GreetingCheck::NoGreeting:
            throw WireError("The client does not greet as a loop storage client does");
    }
}

void checkLengths(const MessageHeader& header) {
    if (header.messageSize > largestRequest) {
        throw WireError("A request of " + std::to_string(header.messageSize) +
                        " bytes is too long: at most " + std::to_string(largestRequest));
    }
    if (header.payloadSize > largestPayload) {
        throw WireError("A frame of " + std::to_string(header.payloadSize) +
                        " bytes is too long: at most " + std::to_string(largestPayload));
    }
}

}  // namespace

std::size_t MessageParser::feed(std::string_view bytes, Sink& sink) {
    std::size_t used = 0;
    auto next = Next::GoOn;
    while (next == Next::GoOn && used < bytes.size()) {
        used += take(bytes.substr(used), sink, next);
    }
    return used;
}

bool MessageParser::isInside() const {
    return state != State::Header || !collected.empty();
}

std::size_t MessageParser::collect(std::string_view bytes, std::size_t wanted) {
    const auto taken = std::min(bytes.size(), wanted - collected.size());
    collected.append(bytes.substr(0, taken));
    return taken;
}

std::size_t MessageParser::take(std::string_view bytes, Sink& sink, Next& next) {
    if (state == State::Payload) {
        return passPayload(bytes, sink, next);
    }
    const auto wanted = state == State::Greeting ? greetingSize
                        : state == State::Header ? headerSize
                                                 : header.messageSize;
    const auto taken = collect(bytes, wanted);
    if (collected.size() < wanted) {
        return taken;
    }
    if (state == State::Greeting) {
        checkGreetingOf(collected);
        collected.clear();
        state = State::Header;
        sink.takeGreeting();
    } else if (state == State::Header) {
        beginMessage();
    }
    if (state == State::Message && collected.size() == header.messageSize) {
        const auto message = std::move(collected);
        endMessage();
        next = sink.takeMessage(message, header.payloadSize);
    }
    return taken;
}

void MessageParser::beginMessage() {
    header = decodeHeader(collected.data());
    checkLengths(header);
    collected.clear();
    state = State::Message;
}

void MessageParser::endMessage() {
    collected.clear();
    payloadLeft = header.payloadSize;
    state = payloadLeft > 0 ? State::Payload : State::Header;
}

std::size_t MessageParser::passPayload(std::string_view bytes, Sink& sink, Next& next) {
    const auto piece = bytes.substr(0, payloadLeft);
    payloadLeft -= static_cast<std::uint32_t>(piece.size());
    if (payloadLeft == 0) {
        state = State::Header;
    }
    next = sink.takePayload(piece, payloadLeft == 0);
    return piece.size();
}

}  // namespace tarn::storage_wire
