#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>
#include <vector>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/Samples.h"

namespace tarn::benchmarks {

namespace {

constexpr int rounds = 100;

std::string besideThisProgram(const std::string& name) {
    char path[4096];
    const auto size = ::readlink("/proc/self/exe", path, sizeof path);
    if (size <= 0) {
        throw std::runtime_error("cannot read /proc/self/exe");
    }
    const std::string self(path, static_cast<std::size_t>(size));
    return self.substr(0, self.rfind('/') + 1) + name;
}

void run(std::vector<std::string> words, Samples& samples) {
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto begin = std::chrono::steady_clock::now();
    pid_t child = 0;
    const int error =
        ::posix_spawn(&child, arguments[0], &files, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words[0]);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    samples.add(std::chrono::steady_clock::now() - begin);
    if (status != 0) {
        throw std::runtime_error(words[0] + " failed");
    }
}

}  // namespace

void measureToolStart() {
    const auto tool = besideThisProgram("tarnctl");
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
