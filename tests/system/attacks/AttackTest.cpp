#include "tests/system/attacks/AttackTest.h"

#include <cerrno>
#include <fstream>
#include <iostream>

#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/harness/RawSocket.h"

namespace tarn::test {

namespace fs = std::filesystem;

void AttackTest::expectRefused(const std::string& act, bool isRefused) {
    std::cout << (isRefused ? "refused: " : "DONE: ") << act << "\n";
    EXPECT_TRUE(isRefused) << act;
}

bool AttackTest::isForbidden(const OtherUser& attacker, const Act& act) {
    return doneAs(attacker, [&] { return act() == -1 && (errno == EACCES || errno == EPERM); });
}

bool AttackTest::isDone(const OtherUser& attacker, const Act& act) {
    return doneAs(attacker, [&] { return act() == 0; });
}

bool AttackTest::isGranted(const OtherUser& attacker, const Api::Request& request) {
    return doneAs(attacker, [&] {
        RawSocket socket(RawSocket::Kind::Dealer);
        socket.connect("ipc:///tmp/requests");
        socket.sendRequest(request.SerializePartialAsString());
        const auto frames = socket.receive(Api::patience);
        Api::Reply reply;
        return frames && reply.ParseFromString(frames->back()) && reply.success();
    });
}

void AttackTest::expectOthersServed() {
    EXPECT_TRUE(service().isRunning());
    EXPECT_TRUE(Api().info());
    EXPECT_TRUE(api().info());
}

std::size_t AttackTest::complaints(std::size_t after, const std::string& text) {
    const auto lines = service().log().all();
    std::size_t count = 0;
    for (std::size_t i = after; i < lines.size(); ++i) {
        const auto& line = lines[i];
        const bool isComplaint =
            line.find(" WARN ") != std::string::npos || line.find(" ERROR ") != std::string::npos;
        count += isComplaint && line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

std::string AttackTest::openFolder(const std::string& path) {
    fs::create_directories(path);
    fs::permissions(path, fs::perms::all | fs::perms::sticky_bit);
    return path;
}

void AttackTest::plant(const std::string& path, const std::string& content) {
    asUser(OtherUser().user, [&] { std::ofstream(path, std::ios::binary) << content; });
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                              fs::perms::others_read);
}

}  // namespace tarn::test
