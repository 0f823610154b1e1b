#include "tests/system/storage/FarMachine.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/support/Process.h"

namespace tarn::test {

namespace {

constexpr auto addressThere = "10.77.0.2";

void check(bool good, const char* action) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), action);
    }
}

void ip(const std::vector<std::string>& words) {
    std::vector<std::string> command = {"ip"};
    command.insert(command.end(), words.begin(), words.end());
    const auto result = runProcess(command);
    if (result.exitStatus != 0) {
        throw std::runtime_error("ip: " + result.err);
    }
}

// A thread can change the network that it is in, and nobody else's by that.
void onThread(const std::function<void()>& work) {
    std::exception_ptr failure;
    std::thread([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
    }).join();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

int makeNetwork() {
    int number = -1;
    onThread([&] {
        check(::unshare(CLONE_NEWNET) == 0, "no network of its own");
        number = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        check(number >= 0, "no network of its own");
    });
    return number;
}

}  // namespace

FarMachine::FarMachine() : network(makeNetwork()) {
    const auto here = std::to_string(::getpid());
    run([&] {
        ip({"link", "add", "there", "type", "veth", "peer", "name", "here", "netns", here});
        ip({"address", "add", std::string(addressThere) + "/30", "dev", "there"});
        ip({"link", "set", "there", "up"});
    });
    ip({"address", "add", std::string(addressHere) + "/30", "dev", "here"});
    ip({"link", "set", "here", "up"});
}

FarMachine::~FarMachine() {
    runProcess({"ip", "link", "delete", "here"});
}

void FarMachine::run(const std::function<void()>& work) const {
    onThread([&] {
        check(::setns(network.get(), CLONE_NEWNET) == 0, "the far network cannot be entered");
        work();
    });
}

void FarMachine::pullTheCable() const {
    run([] { ip({"link", "set", "there", "down"}); });
}

}  // namespace tarn::test
