#include <fcntl.h>
#include <sys/wait.h>

#include <stdexcept>
#include <vector>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/Samples.h"
#include "platform/os/FileDescriptor.h"
#include "tests/support/Spawn.h"

namespace tarn::benchmarks {

namespace {

constexpr int rounds = 100;

void run(const std::vector<std::string>& words, Samples& samples) {
    const os::FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    const auto begin = std::chrono::steady_clock::now();
    const auto child = test::spawn(words, {.out = nowhere.get()});
    int status = -1;
    ::waitpid(child, &status, 0);
    samples.add(std::chrono::steady_clock::now() - begin);
    if (status != 0) {
        throw std::runtime_error(words[0] + " failed");
    }
}

}  // namespace

void measureToolStart() {
    const auto tool = test::builtProgram("tarnctl");
    Samples warmUp;
    run({tool, "info"}, warmUp);
    Samples info;
    Samples nothing;
    for (int i = 0; i < rounds; ++i) {
        run({tool, "info"}, info);
        run({"/bin/true"}, nothing);
    }
    report("tarnctl info, whole process", info, "/bin/true, whole process", nothing);
}

}  // namespace tarn::benchmarks
