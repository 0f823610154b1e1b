// Random sequences of what happens to a loop storage, on machines with disks that fail. Several run
// beside each other, each group in a process of its own: scripts/storage-sequences.
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/failing_disk/Mount.h"
#include "tests/storage_sequences/Sequence.h"

namespace {

using namespace tarn::storage_sequences;
namespace fs = std::filesystem;

constexpr int notPossible = 77;
constexpr std::uint16_t firstPort = 20400;

struct Options {
    std::string server = "/opt/halden/halden-tarn-loop-storage/bin/tarnLoopStorage";
    std::uint64_t seed = std::random_device()();
    unsigned count = 100;
    unsigned workers = 2;
    unsigned problems = 5;
    std::set<std::string> without;
    std::string logs;
};

void report(const Options& options, std::uint64_t seed, const std::vector<std::string>& problems,
            const Sequence& sequence) {
    const auto path = fs::path(options.logs) / ("sequence-" + std::to_string(seed) + ".log");
    std::ofstream log(path);
    std::string text = "seed " + std::to_string(seed) + ":\n";
    for (const auto& problem : problems) {
        text += "  " + problem + "\n";
    }
    log << text << sequence.story();
    std::cerr << text + "  more in " + path.string() + "\n" << std::flush;
}

// Every so many-th sequence; how many of them found something.
unsigned work(const Options& options, unsigned worker) {
    const auto folder = fs::path("/tmp/sequences-" + std::to_string(worker));
    fs::create_directories(folder);
    Boots boots(folder);
    const Machine::Places places{.server = options.server,
                                 .folder = folder,
                                 .port = static_cast<std::uint16_t>(firstPort + worker)};
    unsigned found = 0;
    for (auto n = worker; n < options.count && found < options.problems; n += options.workers) {
        Sequence sequence(places, boots, options.seed + n, options.without);
        const auto problems = sequence.run();
        if (!problems.empty()) {
            ++found;
            report(options, options.seed + n, problems, sequence);
        }
    }
    return found;
}

int workAsProcess(const Options& options, unsigned worker) {
    try {
        return work(options, worker) == 0 ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << "worker " << worker << ": " << failure.what() << std::endl;
        return 1;
    }
}

int run(const Options& options) {
    std::vector<pid_t> processes;
    for (unsigned worker = 0; worker < options.workers; ++worker) {
        const pid_t process = ::fork();
        if (process == 0) {
            std::_Exit(workAsProcess(options, worker));
        }
        processes.push_back(process);
    }
    int result = 0;
    for (const auto process : processes) {
        int status = 0;
        const bool isWell = ::waitpid(process, &status, 0) == process && status == 0;
        result = isWell ? result : 1;
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Runs random sequences of orders, kills, losses of power and faults of the disk");
    app.add_option("--server", options.server, "The loop storage's program");
    app.add_option("--seed", options.seed, "Of the first sequence; the next ones follow");
    app.add_option("--count", options.count, "How many sequences");
    app.add_option("--workers", options.workers, "How many beside each other")
        ->check(CLI::Range(1, 64));
    app.add_option("--problems", options.problems, "After how many a worker gives up");
    app.add_option("--without", options.without, "What shall not happen")
        ->check(CLI::IsMember(Sequence::kinds()))
        ->delimiter(',');
    app.add_option("--logs", options.logs, "Folder for the stories of those that found something")
        ->required();
    CLI11_PARSE(app, argc, argv);
    if (std::getenv("PRIVATE_NAMESPACE_ENTER") == nullptr) {
        std::cerr << "run this through scripts/storage-sequences" << std::endl;
        return 2;
    }
    std::string reason;
    if (!tarn::failing_disk::Mount::isPossible(reason)) {
        std::cout << "no file system of a program's own on this machine: " << reason << std::endl;
        return notPossible;
    }
    fs::create_directories(options.logs);
    std::cout << "seed " << options.seed << std::endl;
    return run(options);
}
