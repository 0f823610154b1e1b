#include <algorithm>
#include <chrono>
#include <memory>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/attacks/AttackTest.h"
#include "tests/system/harness/RawSocket.h"

// Messages that no client of ours would send, by one who may ask the service and its jobs.
namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct HostileMessage {
    const char* name;
    RawSocket::Frames frames;
    int copies = 30;
};

constexpr std::size_t mostOfARequest = std::size_t{10} << 20U;
#ifdef TARN_SANITIZED
constexpr std::size_t million = 100'000;  // each costs ten times as much there
#else
constexpr std::size_t million = 1'000'000;
#endif

std::string repeated(const std::string& part, std::size_t times) {
    std::string all;
    all.reserve(part.size() * times);
    for (std::size_t i = 0; i < times; ++i) {
        all += part;
    }
    return all;
}

std::string varint(std::size_t value) {
    std::string bytes;
    for (; value > 0x7f; value >>= 7U) {
        bytes += static_cast<char>(0x80U | (value & 0x7fU));
    }
    return bytes + static_cast<char>(value);
}

std::string field(unsigned number, const std::string& content) {
    return varint((number << 3U) | 2U) + varint(content.size()) + content;
}

std::string groups(std::size_t levels) {
    return repeated("\x0b", levels) + repeated("\x0c", levels);
}

// A submission (number 100) whose description, properties or pipeline is what is given.
std::string submission(const std::string& content) {
    return std::string("\x08\x03", 2) + field(100, content);
}

std::vector<HostileMessage> hostileMessages() {
    const std::string ask("\x08\x01", 2);
    const auto request = [](const std::string& bytes) { return RawSocket::Frames{"", bytes}; };
    return {
        {"nothing at all", {""}},
        {"an empty request", request("")},
        {"a request without its delimiter", {ask}},
        {"a thousand parts", RawSocket::Frames(1000, ask), 2},
        {"a thousand delimiters", RawSocket::Frames(1000, ""), 2},
        {"65 levels", request(ask + groups(65))},
        {"a million levels", request(ask + groups(million)), 2},
        {"levels that are not closed", request(ask + repeated("\x0b", 1000))},
        {"ends of levels that were not opened", request(ask + repeated("\x0c", 1000))},
        {"a byte more than 10 MiB", request(ask + std::string(mostOfARequest - 1, '\0')), 2},
        {"a kind by the million", request(repeated(ask, 2 * million)), 2},
        {"properties by the million",
         request(submission(repeated(field(3, field(1, "a")), million))), 1},
        {"a number of ten bytes", request(std::string("\x08") + std::string(9, '\xff') + "\x01")},
        {"a number of eleven bytes",
         request(std::string("\x08") + std::string(10, '\xff') + "\x01")},
        {"a number without an end", request(std::string("\x08") + std::string(5000, '\x80'))},
        {"a field that has no number", request(std::string("\x00\x01", 2))},
        {"a field of the largest number", request(std::string("\xf8\xff\xff\xff\x0f\x01", 6))},
        {"kinds of wire that there are none of", request("\x0e\x0f")},
        {"a length beyond the end", request(std::string("\xa2\x06\xff\xff\xff\xff\x07x", 8))},
        {"a length of less than nothing",
         request(std::string("\xa2\x06", 2) + std::string(9, '\xff') + "\x01")},
        {"half a message", request(submission(field(1, "job")).substr(0, 5))},
        {"text where a message belongs", request(submission("not a message at all"))},
        {"a kind that nobody knows", request("\x08\x7b")},
        {"a kind of less than nothing",
         request(std::string("\x08") + std::string(9, '\xff') + "\x01")},
        {"bytes that are no text", request(submission(field(1, field(1, "\xff\xfe\xc0\xaf")))), 2},
        {"a job without anything", request(submission("")), 2},
        {"another protocol", request("GET / HTTP/1.1\r\n\r\n")},
    };
}

class HostileMessagesTest : public AttackTest {
  protected:
    /// As one who may ask; afterwards he is answered as well as anybody.
    static bool sends(const HostileMessage& message, const std::string& endpoint) {
        return doneAs(operating(), [&] {
            RawSocket attacker(RawSocket::Kind::Dealer);
            attacker.connect(endpoint);
            for (int i = 0; i < message.copies; ++i) {
                attacker.send(message.frames);
                while (attacker.receive(0ms)) {
                }
            }
            attacker.receive(20ms);
            return true;
        });
    }
};

std::size_t sentIn(const std::vector<HostileMessage>& messages) {
    std::size_t count = 0;
    for (const auto& message : messages) {
        count += static_cast<std::size_t>(message.copies);
    }
    return count;
}

// One line a second at most, however often it is sent.
std::size_t linesIn(Clock::duration time, std::size_t kinds) {
    return kinds + 1 +
           static_cast<std::size_t>(std::chrono::ceil<std::chrono::seconds>(time).count());
}

TEST_F(HostileMessagesTest, ToTheServiceAreDropped) {
    startService();
    ASSERT_TRUE(api().info());
    const auto log = service().logLength();
    const auto messages = hostileMessages();
    for (const auto& message : messages) {
        const bool isSent = sends(message, "ipc:///tmp/requests");
        expectRefused(message.name, isSent && Api().info().has_value() && service().isRunning());
    }
    expectOthersServed();
    const auto jobs = api().jobs();
    EXPECT_TRUE(jobs && jobs->empty());
    const auto count = complaints(log);
    EXPECT_GE(count, 1u);
    // A line each, however many parts it has.
    EXPECT_LE(count, sentIn(messages)) << service().log().text();
}

TEST_F(HostileMessagesTest, ToAJobAreDropped) {
    startService();
    const auto job = startJob({.pipeline = endless});
    const auto log = job->status()->log_file();
    const auto begin = Clock::now();
    const auto messages = hostileMessages();
    for (const auto& message : messages) {
        const bool isSent = sends(message, job->where().commandEndpoint);
        expectRefused(std::string("to a job: ") + message.name,
                      isSent && job->status().has_value());
    }
    EXPECT_TRUE(isListed(job->id()));
    const auto content = readFile(log);
    const auto lines = static_cast<std::size_t>(std::ranges::count(content, '\n'));
    EXPECT_LE(lines, 30 + linesIn(Clock::now() - begin, messages.size())) << content;
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

}  // namespace

}  // namespace tarn::test
