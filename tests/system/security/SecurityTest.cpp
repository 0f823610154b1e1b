#include "tests/system/security/SecurityTest.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <fstream>
#include <utility>

#include "platform/os/FileDescriptor.h"
#include "tests/system/harness/Installation.h"

namespace tarn::test {

namespace {

int connectTo(const std::string& path) {
    const os::FileDescriptor caller(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    return ::connect(caller.get(), static_cast<const sockaddr*>(generic), sizeof address) == 0
               ? 0
               : errno;
}

}  // namespace

// The file is the private machine's own.
void SecurityTest::SetUp() {
    if (!canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    std::ofstream("/etc/group", std::ios::app)
        << "tarn-read:x:" << readers << ":\ntarn-operate:x:" << operators
        << ":\ntarn-admin:x:" << administrators << ":\n";
    SystemTest::SetUp();
}

ProcessResult SecurityTest::tarnctlAs(const OtherUser& user, std::vector<std::string> arguments) {
    return runProcess(commandAs(user, tarnctlCommand(std::move(arguments))), {},
                      std::chrono::seconds(40));
}

int SecurityTest::knockAs(const OtherUser& user, const std::string& path) {
    int reason = 0;
    for (const int candidate : {0, EACCES, EPERM, ENOENT, ECONNREFUSED}) {
        reason = candidate;
        if (doneAs(user, [&] { return connectTo(path) == candidate; })) {
            return reason;
        }
    }
    return -1;
}

}  // namespace tarn::test
