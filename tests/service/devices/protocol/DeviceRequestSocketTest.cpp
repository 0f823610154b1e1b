#include "service/devices/protocol/DeviceRequestSocket.h"

#include <gmock/gmock.h>

#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.pb.h"
#include "tests/service/devices/support/CaptureFormats.h"
#include "tests/service/devices/support/FakeDevice.h"

namespace tarn::service::devices {

using namespace std::chrono_literals;
using test::FakeDevice;
using testing::HasSubstr;

class DeviceRequestSocketTest : public testing::Test {
  protected:
    DeviceRequestSocketTest() {
        device.begin();
        asking.connect(socket::SocketEndpoint::FromString(device.endpoint()));
    }

    /// Why there was no answer; empty when there was one.
    std::string ask(std::chrono::milliseconds within = patience) {
        DeviceRequestSocket::Request request;
        request.set_type(DeviceRequestSocket::Request::PING);
        DeviceRequestSocket::Reply reply;
        try {
            return asking.ask(request, reply, within) ? "" : "interrupted";
        } catch (const std::runtime_error& e) {
            return e.what();
        }
    }

    static constexpr std::chrono::milliseconds patience{20s};

    FakeDevice device{test::ingestNode("4711")};
    DeviceRequestSocket asking{"test", patience};
};

TEST_F(DeviceRequestSocketTest, AsksAndIsAnswered) {
    EXPECT_EQ(ask(), "");
    EXPECT_EQ(ask(), "");
}

TEST_F(DeviceRequestSocketTest, DoesNotWaitWhereNobodyListensAnyMore) {
    ask();
    device.die();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(ask(), HasSubstr("nobody listens on " + device.endpoint()));
    EXPECT_THAT(ask(), HasSubstr("nobody listens on " + device.endpoint()));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, patience / 2);
}

TEST_F(DeviceRequestSocketTest, DoesNotWaitAnyLongerForOneThatDiesMeanwhile) {
    device.hold();
    const std::jthread killer([this] {
        device.waitForRequests(1);
        device.die();
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(ask(), HasSubstr("nobody listens"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, patience / 2);
}

TEST_F(DeviceRequestSocketTest, IsAnsweredByTheNextOneThere) {
    device.die();
    EXPECT_NE(ask(), "");
    device.begin();
    // It may not listen yet.
    std::string problem = "none";
    for (int attempt = 0; attempt < 1000 && problem != ""; ++attempt) {
        problem = ask();
    }
    EXPECT_EQ(problem, "");
}

TEST_F(DeviceRequestSocketTest, WaitsForOneThatIsSilentAsLongAsItWasTold) {
    device.answerWith(FakeDevice::Answer::Silence);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(ask(300ms), HasSubstr("nothing was received within 300 ms"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
    EXPECT_THAT(ask(50ms), HasSubstr("nothing was received within 50 ms"));
}

TEST_F(DeviceRequestSocketTest, IsInterrupted) {
    device.hold();
    const std::jthread interrupting([this] {
        device.waitForRequests(1);
        asking.interrupt();
    });
    EXPECT_EQ(ask(), "interrupted");
    device.release();
}

}  // namespace tarn::service::devices
