#include "platform/storage_wire/MessageParser.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarn::storage_wire {
namespace {

struct Collector : MessageParser::Sink {
    void takeGreeting() override { events.emplace_back("greeting"); }
    MessageParser::Next takeMessage(std::string_view message, std::uint32_t payloadSize) override {
        events.push_back("message " + std::string(message) + " " + std::to_string(payloadSize));
        return answer;
    }
    MessageParser::Next takePayload(std::string_view piece, bool isLast) override {
        payload += piece;
        if (isLast) {
            events.push_back("payload " + payload);
            payload.clear();
        }
        return MessageParser::Next::GoOn;
    }

    std::vector<std::string> events;
    std::string payload;
    MessageParser::Next answer = MessageParser::Next::GoOn;
};

std::string greeting() {
    const auto bytes = makeGreeting();
    return {bytes.data(), bytes.size()};
}

std::string header(std::uint32_t messageSize, std::uint32_t payloadSize) {
    const auto bytes = encode({.messageSize = messageSize, .payloadSize = payloadSize});
    return {bytes.data(), bytes.size()};
}

std::string message(const std::string& text, const std::string& payload = "") {
    return header(static_cast<std::uint32_t>(text.size()),
                  static_cast<std::uint32_t>(payload.size())) +
           text + payload;
}

const std::string stream = greeting() + message("one") + message("", "bytes") + message("");
const std::vector<std::string> expected = {"greeting", "message one 0", "message  5",
                                           "payload bytes", "message  0"};

TEST(MessageParserTest, TakesAStreamApart) {
    MessageParser parser;
    Collector sink;
    EXPECT_EQ(parser.feed(stream, sink), stream.size());
    EXPECT_EQ(sink.events, expected);
    EXPECT_FALSE(parser.isInside());
}

TEST(MessageParserTest, ItDoesNotMatterInWhatPiecesBytesCome) {
    for (std::size_t size = 1; size < stream.size(); ++size) {
        MessageParser parser;
        Collector sink;
        for (std::size_t i = 0; i < stream.size(); i += size) {
            parser.feed(std::string_view(stream).substr(i, size), sink);
        }
        EXPECT_EQ(sink.events, expected) << "pieces of " << size;
    }
}

TEST(MessageParserTest, AfterAPauseItGoesOnWithTheNextMessage) {
    MessageParser parser;
    Collector sink;
    sink.answer = MessageParser::Next::Pause;
    const auto two = greeting() + message("one") + message("two");
    const auto used = parser.feed(two, sink);
    EXPECT_EQ(used, two.size() - message("two").size());
    parser.feed(std::string_view(two).substr(used), sink);
    EXPECT_EQ(sink.events.back(), "message two 0");
}

TEST(MessageParserTest, TellsThatTheRestOfAMessageIsOwed) {
    for (const std::size_t missing : {1U, 4U, 6U, 9U}) {
        MessageParser parser;
        Collector sink;
        const auto bytes = greeting() + message("word", "bytes");
        parser.feed(std::string_view(bytes).substr(0, bytes.size() - missing), sink);
        EXPECT_TRUE(parser.isInside()) << missing;
    }
}

TEST(MessageParserTest, RefusesWhatDoesNotBeginWithTheGreeting) {
    MessageParser parser;
    Collector sink;
    EXPECT_THROW(parser.feed("GET / HTTP/1.1\r\n", sink), WireError);
}

TEST(MessageParserTest, RefusesAnotherVersion) {
    auto other = greeting();
    other[8] = 9;
    MessageParser parser;
    Collector sink;
    try {
        parser.feed(other, sink);
        FAIL();
    } catch (const WireError& error) {
        EXPECT_STREQ(error.what(), "The client speaks another version of the protocol");
    }
}

TEST(MessageParserTest, RefusesLengthsBeyondTheLimitsAsSoonAsItReadsThem) {
    for (const auto& bad : {header(largestRequest + 1, 0), header(0xffffffffU, 0),
                            header(1, largestPayload + 1), header(0, 0xffffffffU)}) {
        MessageParser parser;
        Collector sink;
        parser.feed(greeting(), sink);
        EXPECT_THROW(parser.feed(bad, sink), WireError);
    }
}

TEST(MessageParserTest, TheLongestRequestIsTaken) {
    MessageParser parser;
    Collector sink;
    const std::string longest(largestRequest, 'x');
    parser.feed(greeting() + message(longest), sink);
    ASSERT_EQ(sink.events.size(), 2U);
    EXPECT_EQ(sink.events[1].size(), longest.size() + std::string("message  0").size());
}

}  // namespace
}  // namespace tarn::storage_wire
