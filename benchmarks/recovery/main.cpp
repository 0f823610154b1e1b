// What a service costs its jobs when it is killed, and how fast it brings them back. Starts and
// kills services of its own: scripts/benchmark recovery runs it on a private machine.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "benchmarks/recovery/ByHand.h"
#include "benchmarks/recovery/Jobs.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/harness/JobCommands.h"
#include "tests/system/harness/Service.h"

namespace tarn::benchmarks {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using test::JobCommands;
using test::Service;

constexpr auto jobsFolder = "/tmp/jobs";

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void report(const std::string& benchmark, nlohmann::ordered_json figures) {
    nlohmann::ordered_json line = {{"benchmark", benchmark}};
    line.update(figures);
    std::cout << line.dump() << std::endl;
}

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error(what);
    }
}

std::unique_ptr<Service> startService() {
    auto service = std::make_unique<Service>();
    check(service->waitUntilServing(), "the service does not serve");
    return service;
}

void stop(Service& service) {
    check(service.stop() == test::Ending::exited(0), "the service did not end in order");
}

std::vector<test::JobAddress> listedJobs() {
    auto jobs = test::Api().jobs();
    check(jobs.has_value(), "the list of jobs is not answered");
    return std::move(*jobs);
}

/// Of every job that is listed, its pipeline's process.
std::map<std::string, int> processes() {
    std::map<std::string, int> found;
    for (const auto& job : listedJobs()) {
        const auto status = JobCommands(job.commandEndpoint).status();
        check(status && status->restarts() == 0, "a job has begun again: " + job.id);
        found[job.id] = status->pipeline_pid();
    }
    return found;
}

void measureKills() {
    constexpr int jobs = 50;
    constexpr int kills = 10;
    auto service = startService();
    const auto begin = Clock::now();
    for (int n = 0; n < jobs; ++n) {
        check(test::Api().submit({.pipeline = lightPipeline}).has_value(), "no answer");
    }
    waitUntilPlaying(jobs);
    const auto before = processes();
    double slowest = 0;
    for (int n = 0; n < kills; ++n) {
        service->killHard();
        service = startService();
        const auto serving = Clock::now();
        check(test::eventually([] { return listedJobs().size() == jobs; }), "not all are listed");
        slowest = std::max(slowest, secondsSince(serving));
    }
    check(processes() == before, "other processes than before");
    report("ten kills of the service", {{"jobs", jobs},
                                        {"same processes", true},
                                        {"restarts", 0},
                                        {"slowest list s", slowest},
                                        {"all of it s", secondsSince(begin)}});
    stop(*service);
}

double byHand(std::size_t jobs, std::size_t atOnce) {
    auto service = startService();
    const auto begin = Clock::now();
    startByHand(jobs, atOnce);
    waitUntilPlaying(jobs);
    const double took = secondsSince(begin);
    stop(*service);
    return took;
}

void measurePersistentJobs() {
    constexpr std::size_t jobs = 200;
    const double oneByOne = byHand(jobs, 1);
    const double inPairs = byHand(jobs, 2);
    for (std::size_t n = 0; n < jobs; ++n) {
        writePersistentJob(jobsFolder + ("/job" + std::to_string(n)));
    }
    const auto begin = Clock::now();
    auto service = startService();
    waitUntilPlaying(jobs);
    const double took = secondsSince(begin);
    check(service->waitForLog("Persistent jobs regenerated (if any)"), "not at rest");
    check(processes().size() == jobs, "not each once");
    report("200 persistent jobs", {{"until all play s", took},
                                   {"by hand, one by one s", oneByOne},
                                   {"by hand, two at once s", inPairs}});
    stop(*service);
    fs::remove_all(jobsFolder);
    fs::create_directory(jobsFolder);
}

// As many of each kind; the unreadable ones are so for root as well.
std::size_t makeBadEntries(std::size_t ofEach) {
    for (std::size_t n = 0; n < ofEach; ++n) {
        const auto name = jobsFolder + ("/bad" + std::to_string(n));
        std::ofstream(name + ".garbage") << "\xff no job " << n;
        check(::mknod((name + ".socket").c_str(), S_IFSOCK | 0600, 0) == 0, "mknod");
        fs::create_directory(name + ".folder");
        fs::create_symlink("/proc/self/mem", name + ".unreadable");
    }
    return ofEach;
}

void measureBadEntries() {
    const auto ofEach = makeBadEntries(2500);
    writePersistentJob(jobsFolder + std::string("/good"));
    const auto begin = Clock::now();
    auto service = startService();
    check(service->log().waitFor("Persistent jobs regenerated (if any)", 0, 60s).has_value(),
          "not at rest");
    const double took = secondsSince(begin);
    waitUntilPlaying(1);
    const auto garbage = service->log().count("Failed deserializing message");
    const auto unreadable = service->log().count("Failed reading file: ");
    check(processes().size() == 1 && garbage == ofEach && unreadable == ofEach,
          "each bad file has not its line");
    report("10000 bad entries and a good job", {{"until regenerated s", took},
                                                {"lines for garbage", garbage},
                                                {"lines for unreadable files", unreadable},
                                                {"jobs", 1}});
    stop(*service);
}

void run() {
    test::logEverything();
    fs::create_directory(jobsFolder);
    test::writeConfigurationSections("<Paths><PersistentJobsFolder>" + std::string(jobsFolder) +
                                     "</PersistentJobsFolder></Paths>");
    measureKills();
    measurePersistentJobs();
    measureBadEntries();
}

}  // namespace

}  // namespace tarn::benchmarks

int main() {
    try {
        tarn::benchmarks::run();
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "recovery: " << e.what() << std::endl;
        return 1;
    }
}
