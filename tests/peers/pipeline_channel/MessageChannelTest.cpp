#include "peers/pipeline_channel/MessageChannel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "proto/pipeline_control.pb.h"
#include "tests/support/MachineTime.h"

namespace tarn::peers {
namespace {

using tarn::proto::pipeline_control::PipelineCommand;

struct MessageChannelTest : testing::Test {
    std::pair<os::FileDescriptor, os::FileDescriptor> pair = MessageChannel::makePair();
    MessageChannel ours{std::move(pair.first), 1000};

    void theirsWrites(const std::string& bytes) {
        ASSERT_EQ(::send(pair.second.get(), bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
        ours.read();
    }
};

PipelineCommand parseCommand(const std::string& text) {
    PipelineCommand command;
    command.set_type(PipelineCommand::PARSE);
    command.set_pipeline(text);
    return command;
}

TEST_F(MessageChannelTest, MessagesArriveWholeAndInOrder) {
    MessageChannel theirs(std::move(pair.second), 1000);
    theirs.send(parseCommand("a"));
    theirs.send(parseCommand("b"));
    EXPECT_EQ(ours.read(), MessageChannel::Input::Open);
    PipelineCommand command;
    ASSERT_TRUE(ours.next(command));
    EXPECT_EQ(command.pipeline(), "a");
    ASSERT_TRUE(ours.next(command));
    EXPECT_EQ(command.pipeline(), "b");
    EXPECT_FALSE(ours.next(command));
}

TEST_F(MessageChannelTest, AMessageInPiecesIsGivenOnceItIsWhole) {
    PipelineCommand command;
    const std::string body = parseCommand("abc").SerializeAsString();
    theirsWrites({static_cast<char>(body.size()), 0, 0, 0});
    EXPECT_FALSE(ours.next(command));
    theirsWrites(body.substr(0, 2));
    EXPECT_FALSE(ours.next(command));
    theirsWrites(body.substr(2));
    ASSERT_TRUE(ours.next(command));
    EXPECT_EQ(command.pipeline(), "abc");
}

TEST_F(MessageChannelTest, AMessageOverTheLimitIsRefusedBeforeItArrives) {
    theirsWrites({'\xE9', 3, 0, 0});  // 1001
    PipelineCommand command;
    EXPECT_THROW(ours.next(command), std::runtime_error);
}

TEST_F(MessageChannelTest, BytesThatAreNoMessageAreRefused) {
    theirsWrites(std::string("\x02\0\0\0\xFF\xFF", 6));
    PipelineCommand command;
    EXPECT_THROW(ours.next(command), std::runtime_error);
}

// A process that has been taken over may send the smallest ones without end.
TEST(MessageChannelLoadTest, TakesNoLongerForMessagesThatCameTogether) {
    constexpr std::size_t most = std::size_t{8} << 20U;
    const std::string empty(4 * 16384, '\0');
    auto [near, far] = MessageChannel::makePair();
    MessageChannel ours(std::move(near), most);
    std::size_t sent = 0;
    for (; sent < most; sent += empty.size()) {
        ASSERT_EQ(::send(far.get(), empty.data(), empty.size(), 0),
                  static_cast<ssize_t>(empty.size()));
        ours.read();
    }
    const test::MachineTime time;
    PipelineCommand command;
    std::size_t taken = 0;
    while (ours.next(command)) {
        ++taken;
    }
    EXPECT_EQ(taken, sent / 4);
    EXPECT_LT(time.elapsed(), std::chrono::seconds(10));
}

TEST_F(MessageChannelTest, TheEndIsSeenAfterTheLastMessage) {
    {
        MessageChannel theirs(std::move(pair.second), 1000);
        theirs.send(parseCommand("last"));
    }
    EXPECT_EQ(ours.read(), MessageChannel::Input::Closed);
    PipelineCommand command;
    ASSERT_TRUE(ours.next(command));
    EXPECT_EQ(command.pipeline(), "last");
    EXPECT_THROW(ours.send(command), std::runtime_error);
}

TEST(MessageChannelLoadTest, CarriesALongPipelineText) {
    auto pair = MessageChannel::makePair();
    MessageChannel sender(std::move(pair.first), MessageChannel::maxReportBytes);
    MessageChannel receiver(std::move(pair.second), MessageChannel::maxCommandBytes);
    const std::string text(std::size_t{10} << 20, 'x');
    const std::jthread sending([&] { sender.send(parseCommand(text)); });
    PipelineCommand command;
    do {
        ASSERT_EQ(receiver.read(), MessageChannel::Input::Open);
    } while (!receiver.next(command));
    EXPECT_EQ(command.pipeline(), text);
}

}  // namespace
}  // namespace tarn::peers
