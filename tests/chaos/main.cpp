// Chaos on a private machine, from a seed that is printed: scripts/chaos runs it.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/Chaos.h"

namespace {

struct Options {
    unsigned seconds = 20;
    unsigned seed = std::random_device()();
    std::string logs;
    bool tcp = false;
    bool capture = false;
    bool tour = false;
    std::string tourOf;
    std::vector<std::string> without;
};

void report(const tarn::chaos::Chaos& chaos) {
    for (const auto& [what, count] : chaos.figures()) {
        std::cout << what << ": " << count << "\n";
    }
    std::cout << "jobs: " << chaos.expectation().jobs()
              << "\njobs that had to run in the end: " << chaos.expectation().mustRun()
              << "\njobs that had to be over: " << chaos.expectation().mustBeOver()
              << "\nproblems: " << chaos.problems().size() << std::endl;
}

int run(const Options& options) {
    using tarn::chaos::Transport;
    const auto places = tarn::chaos::Places::over(options.tcp ? Transport::Tcp : Transport::Ipc);
    tarn::chaos::Chaos chaos(options.seed, options.capture ? places.withIngest() : places,
                             options.without);
    try {
        if (options.tour || !options.tourOf.empty()) {
            chaos.tour(options.tourOf);
        }
        chaos.runFor(std::chrono::seconds(options.seconds));
        chaos.conclude();
    } catch (const std::exception& e) {
        std::cerr << "problem: " << e.what() << std::endl;
        chaos.place().saveLogs(options.logs);
        return 1;
    }
    report(chaos);
    if (!chaos.problems().empty()) {
        chaos.place().saveLogs(options.logs);
        std::cerr << "repeat with --seed " << options.seed << "; logs in " << options.logs
                  << std::endl;
    }
    return chaos.problems().empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Kills, interrupts, fills disks and makes a device too deep or too large at random, then "
        "looks whether all is well");
    app.add_option("--seconds", options.seconds, "How long");
    app.add_option("--seed", options.seed, "Which chaos");
    app.add_option("--logs", options.logs, "Folder for the logs of a chaos that found something")
        ->required();
    app.add_flag("--tcp", options.tcp, "Everybody listens on ports of the loopback network");
    app.add_flag("--capture", options.capture,
                 "The machine has an ingest service, too, for which each start of the service "
                 "waits 3 s");
    app.add_flag("--tour", options.tour, "Begin with one of each of the things that happen seldom");
    app.add_option("--tour-of", options.tourOf, "Only of those whose names hold this text");
    app.add_option("--without", options.without, "Parts of the names of what shall not happen")
        ->delimiter(',');
    CLI11_PARSE(app, argc, argv);
    if (std::getenv("PRIVATE_NAMESPACE_ENTER") == nullptr) {
        std::cerr << "run this through scripts/chaos" << std::endl;
        return 2;
    }
    std::cout << "seed " << options.seed << std::endl;
    return run(options);
}
