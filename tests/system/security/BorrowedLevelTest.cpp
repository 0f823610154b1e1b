#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

#include "platform/os/FileDescriptor.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

namespace {

std::string frame(char flags, const std::string& content) {
    return std::string(1, flags) + static_cast<char>(content.size()) + content;
}

// What a client of the messaging library says before its first request.
std::string introduction() {
    const auto greeting = "\xff" + std::string(8, '\0') + "\x7f\x03" + std::string(1, '\0') +
                          "NULL" + std::string(64 - 16, '\0');
    const auto ready = "\x05READY\x0bSocket-Type" + std::string(3, '\0') + "\x06" + "DEALER";
    return greeting + frame('\x04', ready);
}

std::string requestFrames(const std::string& request) {
    return frame('\x01', "") + frame('\0', request);
}

bool write(const os::FileDescriptor& socket, const std::string& bytes) {
    return ::write(socket.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

// Its greeting, and that it is ready.
bool awaitService(const os::FileDescriptor& socket) {
    std::array<char, 256> buffer{};
    std::size_t got = 0;
    while (got <= 64) {
        const auto more = ::read(socket.get(), buffer.data(), buffer.size());
        if (more <= 0) {
            return false;
        }
        got += static_cast<std::size_t>(more);
    }
    return true;
}

// Has gone before anybody looks who sent it.
bool sendAndGo(const std::string& path, const std::string& request) {
    const os::FileDescriptor caller(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    return ::connect(caller.get(), static_cast<const sockaddr*>(generic), sizeof address) == 0 &&
           write(caller, introduction()) && awaitService(caller) &&
           write(caller, requestFrames(request));
}

class BorrowedLevel : public SecurityTest {};

}  // namespace

// The number of his descriptor is an administrator's a moment later.
TEST_F(BorrowedLevel, WhoHasGoneDoesNotHaveThatOfWhoCameNext) {
    startService();
    const auto submission =
        submissionOf({.pipeline = "fakesrc ! fakesink", .id = "stolen", .name = "x"});
    const auto bytes = submission.SerializeAsString();
    ASSERT_LT(submission.ByteSizeLong(), 200U);
    std::string ask;
    for (const auto& word : tarnctlCommand({"info"})) {
        ask += word + " ";
    }
    Process honest(commandAs(admin(61002), {"sh", "-c", "while " + ask + "; do :; done"}));
    ASSERT_TRUE(honest.waitForOut("TarnService"));
    EXPECT_TRUE(doneAs(reader(61001), [&] {
        int sent = 0;
        for (int i = 0; i < 1000; ++i) {
            sent += sendAndGo("/tmp/requests", bytes) ? 1 : 0;
        }
        return sent > 500;
    }));
    honest.signal(SIGKILL);
    honest.waitForEnd();
    EXPECT_TRUE(service().waitForLog("Access denied: this needs the level operate"));
    EXPECT_TRUE(api().jobs()->empty());
    EXPECT_FALSE(service().log().contains("Creating workflow"));
}

}  // namespace tarn::test
