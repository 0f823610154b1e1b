#include "platform/utils/log/ConsoleOutput.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <thread>
#include <utility>

#include "platform/os/ProcessDefaults.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::utils {

using testing::EndsWith;

namespace {

const std::string longLine = std::string(999, 'x') + "\n";

/// The two ends of what the lines go through; the written one waits for its reader by itself.
class Channel {
  public:
    enum class Kind { Pipe, Socket };

    explicit Channel(Kind kind) {
        const int failed = kind == Kind::Pipe ? ::pipe2(ends.data(), O_CLOEXEC)
                                              : ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data());
        EXPECT_EQ(failed, 0);
    }
    ~Channel() {
        closeReader();
        ::close(ends[1]);
    }

    int writer() const { return ends[1]; }
    void closeReader() { ::close(std::exchange(ends[0], -1)); }

    /// Waits until something is there; everything that is.
    std::string readSome() const {
        std::string text(1 << 20, '\0');
        const auto got = ::read(ends[0], text.data(), text.size());
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return text;
    }
    std::string readUntil(const std::string& end) const {
        std::string text;
        while (!text.ends_with(end)) {
            text += readSome();
        }
        return text;
    }

  private:
    std::array<int, 2> ends{-1, -1};
};

}  // namespace

class ConsoleOutputTest : public testing::TestWithParam<Channel::Kind> {
  protected:
    ConsoleOutputTest() { os::ignoreBrokenPipes(); }

    Channel channel{GetParam()};
};

TEST_P(ConsoleOutputTest, ALineIsThereAtOnce) {
    ConsoleOutput output(channel.writer());
    output.write("one\n");
    EXPECT_EQ(channel.readSome(), "one\n");
    output.write("two\n");
    EXPECT_EQ(channel.readSome(), "two\n");
}

// Ends only if no write waits for the reader.
TEST_P(ConsoleOutputTest, NobodyWaitsForAReaderWhoDoesNotRead) {
    ConsoleOutput output(channel.writer(), 10000);
    for (int i = 0; i < 100000; ++i) {
        output.write(longLine);
    }
}

TEST_P(ConsoleOutputTest, WhatHadToWaitArrivesWholeAndInOrder) {
    ConsoleOutput output(channel.writer());
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        const auto line = std::to_string(i) + longLine;
        output.write(line);
        expected += line;
    }
    EXPECT_EQ(channel.readUntil("2999" + longLine), expected);
}

TEST_P(ConsoleOutputTest, WhatHasToWaitASecondTimeArrivesToo) {
    ConsoleOutput output(channel.writer());
    for (const std::string end : {"first", "second", "third"}) {
        for (int i = 0; i < 1000; ++i) {
            output.write(longLine);
        }
        output.write(end + "\n");
        EXPECT_EQ(channel.readUntil(end + "\n").size(), 1000 * longLine.size() + end.size() + 1);
    }
}

TEST_P(ConsoleOutputTest, SaysHowManyLinesWereDropped) {
    ConsoleOutput output(channel.writer(), 10000);
    constexpr int count = 1000;
    for (int i = 0; i < count; ++i) {
        output.write(longLine);
    }
    const auto text = channel.readUntil("nobody read them\n");
    const auto arrived = std::count(text.begin(), text.end(), '\n') - 1;
    EXPECT_GT(arrived, 10);
    EXPECT_THAT(text, EndsWith("... " + std::to_string(count - arrived) +
                               " lines are missing here: nobody read them\n"));
    output.write("goes on\n");
    EXPECT_EQ(channel.readSome(), "goes on\n");
}

TEST_P(ConsoleOutputTest, AReaderWhoHasGoneCostsNothing) {
    ConsoleOutput output(channel.writer());
    for (int i = 0; i < 200; ++i) {
        output.write(longLine);
    }
    channel.closeReader();
    output.write(longLine);
}

TEST_P(ConsoleOutputTest, TheEndLetsOutWhatIsBeingRead) {
    std::string text;
    {
        std::optional<ConsoleOutput> output(channel.writer());
        for (int i = 0; i < 2000; ++i) {
            output->write(longLine);
        }
        output->write("last\n");
        std::jthread reader([&] { text = channel.readUntil("last\n"); });
        output.reset();
    }
    EXPECT_EQ(text.size(), 2000 * longLine.size() + 5);
}

TEST_P(ConsoleOutputTest, LeavesTheFlagsOfTheDescriptorAlone) {
    const int before = ::fcntl(channel.writer(), F_GETFL);
    ConsoleOutput output(channel.writer());
    output.write("one\n");
    EXPECT_EQ(::fcntl(channel.writer(), F_GETFL), before);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConsoleOutputTest,
                         testing::Values(Channel::Kind::Pipe, Channel::Kind::Socket),
                         [](const auto& test) {
                             return test.param == Channel::Kind::Pipe ? "Pipe" : "Socket";
                         });

TEST(ConsoleOutputToAFileTest, AppendsWhatIsWritten) {
    const test::TemporaryFolder folder;
    const auto path = folder.write("out", "before\n");
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND);
    {
        ConsoleOutput output(file);
        output.write("one\n");
        output.write("two\n");
    }
    ::close(file);
    EXPECT_EQ(test::readFile(path), "before\none\ntwo\n");
}

}  // namespace tarn::utils
