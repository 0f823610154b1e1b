#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iostream>
#include <vector>

#include "platform/socket/Limits.h"
#include "tests/flood/Readings.h"
#include "tests/support/Eventually.h"
#include "tests/support/OtherUser.h"
#include "tests/system/harness/SystemTest.h"

// What another user of the machine, who may ask the service, can do to those who use it as well.
namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using flood::openDescriptorsOf;
using flood::residentBytesOf;
using Microseconds = std::chrono::microseconds;

constexpr std::size_t mebibyte = 1U << 20;
constexpr auto requests = "/tmp/requests";

// What a sanitizer notes of each byte counts as well.
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t shadow = 4;
#elif defined(__SANITIZE_ADDRESS__)
constexpr std::size_t shadow = 2;  // what was freed is kept for a while
#else
constexpr std::size_t shadow = 1;
#endif

class FloodsTest : public SystemTest {
  protected:
    void SetUp() override {
        if (!canBeOthers()) {
            GTEST_SKIP() << "there is no other user here";
        }
        SystemTest::SetUp();
    }

    void serve(const std::string& limits = {}, const std::string& sections = {}) {
        configureSections("<Security><Limits " + limits + "/></Security>" + sections);
        startService();
        ASSERT_TRUE(api().info());
        ::chmod(requests, 0666);  // he is one who may ask
    }

    /// What he does until the object ends.
    static std::unique_ptr<Process> attack(const std::string& way, unsigned connections) {
        return std::make_unique<Process>(
            commandAs({}, {TARN_ATTACKER, requests, way, std::to_string(connections)}));
    }

    /// A number that he says of himself, as of his last line.
    static std::size_t saidBy(const Process& attacker, const std::string& what) {
        const auto lines = attacker.output().all();
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            const auto at = line->find(what + " ");
            if (at != std::string::npos) {
                return std::stoul(line->substr(at + what.size() + 1));
            }
        }
        return 0;
    }

    /// The middle one of many questions and their answers, each of which must come.
    Microseconds timeOfInfo() {
        std::vector<Microseconds> times;
        for (int i = 0; i < 100; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_TRUE(api().info());
            times.push_back(
                std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - begin));
        }
        std::nth_element(times.begin(), times.begin() + 50, times.end());
        return times[50];
    }

    /// Everybody else is served, those who are in and those who come, and he costs no more than
    /// this.
    void expectServed(const std::string& way, unsigned connections, std::size_t mostBytes,
                      std::size_t mostDescriptors) {
        const auto alone = timeOfInfo();
        const auto bytes = residentBytesOf(service().id());
        const auto descriptors = openDescriptorsOf(service().id());
        const auto attacker = attack(way, connections);
        EXPECT_TRUE(attacker->output().waitFor("in "));
        std::size_t largest = 0;
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(Api().info());
            EXPECT_FALSE(eventually([] { return false; }, 50ms));
            largest = std::max(largest, residentBytesOf(service().id()));
            EXPECT_LE(openDescriptorsOf(service().id()), descriptors + mostDescriptors);
        }
        EXPECT_LE(largest, bytes + mostBytes * shadow);
        const auto beside = timeOfInfo();
        std::cout << way << ": GET_INFO " << alone.count() << " us alone, " << beside.count()
                  << " us beside it; memory " << bytes / mebibyte << " MiB, at most "
                  << largest / mebibyte << " MiB\n";
        EXPECT_TRUE(attacker->isRunning());
        attacker->signal(SIGKILL);
        attacker->waitForEnd();
        EXPECT_TRUE(eventuallyWithin(
            30s, [&] { return openDescriptorsOf(service().id()) <= descriptors + 2; }));
    }
};

// Those who were turned away are told so a little later.
constexpr std::size_t turnedAway = 64;

// His own share, and a new client of ours.
constexpr std::size_t ofOneUser = 128 + turnedAway + 8;

}  // namespace

TEST_F(FloodsTest, OfConnectionsLeaveRoomForOthers) {
    serve("connectionsPerUser='40'");
    expectServed("idle", 600, 50 * mebibyte, 40 + turnedAway + 8);
    EXPECT_TRUE(service().waitForLog("turned away a connection of user 61001: he may have 40"));
}

TEST_F(FloodsTest, OfHalfOpenConnectionsLeaveRoomForOthers) {
    serve();
    expectServed("half-open", 600, 50 * mebibyte, ofOneUser);
}

// Who has not said who he is makes room.
TEST_F(FloodsTest, OfThoseWhoNeverFinishTheirHandshakeEndByThemselves) {
    serve();
    const auto before = openDescriptorsOf(service().id());
    const auto attacker = attack("half-open", 20);
    EXPECT_TRUE(attacker->output().waitFor("in 20 tries 20 "));
    const auto hasBeenPutOut = [&] { return saidBy(*attacker, "tries") >= 40; };
    EXPECT_TRUE(eventuallyWithin(3 * socket::handshakeWithin, hasBeenPutOut));
    EXPECT_LE(openDescriptorsOf(service().id()), before + 20 + 8);
}

TEST_F(FloodsTest, OfRequestsLeaveOthersServed) {
    serve("requestsPerSecond='100'");
    expectServed("requests", 100, 50 * mebibyte, ofOneUser);
    EXPECT_TRUE(service().waitForLog("ended a connection of user 61001: he may ask 100 times"));
}

TEST_F(FloodsTest, OfAnswersThatHeDoesNotTakeAreBounded) {
    serve("waitingMiBPerUser='40'");
    expectServed("unread", 100, 150 * mebibyte, ofOneUser);
}

TEST_F(FloodsTest, OfMessagesWithoutAnEndAreBounded) {
    serve("waitingMiBPerUser='40'");
    expectServed("parts", 10, 250 * mebibyte, ofOneUser);
    expectServed("large-parts", 10, 250 * mebibyte, ofOneUser);
    EXPECT_TRUE(service().waitForLog("no more is taken from or kept for user 61001: "));
}

TEST_F(FloodsTest, OfMessagesThatAreTooLargeAreNotTaken) {
    serve();
    expectServed("too-large", 50, 100 * mebibyte, ofOneUser);
}

TEST_F(FloodsTest, OfLargeMessagesAreBoundedThoughASubmissionHangs) {
    const auto hanging = writeProgram("/tmp/hangs", "#!/bin/sh\nexit 0\n");
    serve("waitingMiBPerUser='64'",
          "<Paths><WorkflowLauncher>" + hanging + "</WorkflowLauncher></Paths>");
    const auto before = residentBytesOf(service().id());
    Api submitting;
    // Each takes the service two seconds, until it gives up waiting for the job.
    for (int i = 0; i < 3; ++i) {
        submitting.send(submissionOf({.pipeline = endless}));
    }
    const auto attacker = attack("large", 100);
    std::size_t largest = 0;
    EXPECT_TRUE(eventually([&] {
        largest = std::max(largest, residentBytesOf(service().id()));
        return service().log().contains("no more is taken from or kept for user 61001");
    }));
    EXPECT_FALSE(eventually(
        [&] {
            largest = std::max(largest, residentBytesOf(service().id()));
            return false;
        },
        2s));
    std::cout << "memory " << before / mebibyte << " MiB, at most " << largest / mebibyte
              << " MiB behind submissions that hang\n";
    EXPECT_LE(largest, before + 250 * mebibyte * shadow);
    EXPECT_TRUE(eventuallyWithin(60s, [] { return Api().info().has_value(); }));
}

// Though he has a number that is given again, a descriptor of his is not another's.
TEST_F(FloodsTest, OfConnectionsThatComeAndGoAreCountedRight) {
    serve("connectionsPerUser='10'");
    for (int round = 0; round < 5; ++round) {
        const auto attacker = attack("idle", 30);
        EXPECT_TRUE(attacker->output().waitFor("in 10 ")) << round;
    }
    EXPECT_TRUE(api().info());
}

}  // namespace tarn::test
