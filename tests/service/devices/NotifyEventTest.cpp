#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/socket/Socket.h"
#include "service/devices/DeviceController.h"
#include "service/devices/DeviceEventListener.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/LogCapture.h"

namespace tarn::service::devices {

using test::camera;

namespace {

/// While it lives, this process cannot open anything.
class NoDescriptorLeft {
  public:
    NoDescriptorLeft() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int lowestFree = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(lowestFree);
        const rlimit none{static_cast<rlim_t>(lowestFree), before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptorLeft() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NoDescriptorLeft(const NoDescriptorLeft&) = delete;
    NoDescriptorLeft& operator=(const NoDescriptorLeft&) = delete;

  private:
    rlimit before{};
};

/// Leaves an open socket. Also lets one fail, since a sanitizer needs descriptors of its own when
/// it sees an object's type for the first time.
std::unique_ptr<socket::Socket> useSocketsOnce() {
    auto used = std::make_unique<socket::Socket>("other", socket::ClosePolicy::Discard);
    try {
        const auto nobody = socket::SocketEndpoint::FromString(test::uniqueEndpoint());
        used->createAndConnect(socket::Protocol::Push, nobody, 1);
    } catch (const std::exception& e) {
        utils::logError(e.what());
    }
    used->createAndConnect(socket::Protocol::Push, DeviceEventListener::GetInternalEventEndpoint(),
                           0);
    return used;
}

int connectLater() {
    const test::LogCapture log;
    const auto event = test::addEvent(camera("cam1"));
    const auto other = useSocketsOnce();
    {
        const NoDescriptorLeft meanwhile;
        if (DeviceController::notifyEvent(&event)) {
            return 1;
        }
    }
    if (!log.contains("ERROR DeviceController > Failed connecting to internal event thread: ")) {
        return 2;
    }
    test::EventRecorder recorder;
    if (!DeviceController::notifyEvent(&event)) {
        return 3;
    }
    return recorder.waitFor(1).size() == 1 ? 0 : 4;
}

}  // namespace

// In a process of its own, where nothing is connected yet.
TEST(NotifyEventDeathTest, ConnectsLaterWhenTheFirstAttemptFailed) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP()
        << "the sanitizer takes a pipe to look at an exception, and ends the process without";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(std::exit(connectLater()), testing::ExitedWithCode(0), "");
}

TEST(NotifyEventTest, DropsAndLogsAnEventThatTheListenerHasNoRoomFor) {
    const test::LogCapture log;
    std::size_t sent = 0;
    auto event = test::addEvent(camera("0"));
    while (sent < 1000000 && DeviceController::notifyEvent(&event)) {
        event = test::addEvent(camera(std::to_string(++sent)));
    }
    EXPECT_TRUE(log.contains("ERROR DeviceController > Failed sending event: "));
    test::EventRecorder recorder;
    EXPECT_EQ(recorder.waitFor(sent).size(), sent);
    EXPECT_TRUE(DeviceController::notifyEvent(&event));
    const auto received = recorder.waitFor(sent + 1);
    for (std::size_t i = 0; i <= sent; ++i) {
        const auto& added = received[i].GetExtension(tarn::proto::monitoring::DeviceAddEvent::base);
        ASSERT_EQ(added.device().id(), std::to_string(i));
    }
}

}  // namespace tarn::service::devices
