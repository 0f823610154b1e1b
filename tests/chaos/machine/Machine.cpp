#include "tests/chaos/machine/Machine.h"

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/system/harness/Installation.h"

namespace tarn::chaos {

namespace fs = std::filesystem;

namespace {

constexpr auto registryFolder = "/run/halden-tarn";
constexpr auto jobLogFolder = "/var/log/halden-tarn/jobs";
constexpr std::size_t servicesKept = 30;  // for their logs
constexpr std::chrono::seconds longestEnd{60};
// So few that it can be brought short of them, and enough for all that is done otherwise.
constexpr auto underFewDescriptors = "--nofile=512";

// Where there is no ingest service it stays empty.
constexpr auto captureFormatFile =
    "<PersistentDeltacastConfigurationFile>/tmp/chaos.format"
    "</PersistentDeltacastConfigurationFile>";

constexpr int jobTrackCount = 4;
constexpr std::uint64_t jobTrackSize = 256U << 10U;
constexpr std::uint64_t frameTrackSize = 1U << 20U;
constexpr std::uint64_t diskTrackSize = 1U << 20U;

std::vector<fs::path> registryFiles() {
    std::vector<fs::path> files;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(registryFolder, none)) {
        if (entry.path().extension() == ".registry") {
            files.push_back(entry.path());
        }
    }
    return files;
}

void overwriteWithNoise(const fs::path& file, std::uintmax_t size, std::mt19937& random) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    for (std::uintmax_t n = 0; n < size; ++n) {
        out.put(static_cast<char>(random()));
    }
}

}  // namespace

Machine::Machine(const Places& places) : where(places) {
    test::logEverything();
    test::writeConfigurationSections(
        "<Paths><PersistentJobsFolder>" + std::string(PersistentFolder::path) +
        "</PersistentJobsFolder>" + captureFormatFile + "</Paths>" + where.configuration());
    others.push_back(
        {.name = "gateway",
         .command = {"prlimit", underFewDescriptors, "--", test::gatewayProgram, "--events",
                     where.events, "--publish", where.published, "--requests", where.requests}});
    others.push_back({.name = "host monitor",
                      .command = {test::hostMonitorProgram, "--endpoint", where.monitor,
                                  "--event-endpoint", where.monitorEvents, "--name", "chaos"}});
    others.push_back({.name = OddDevice::name, .command = odd.command()});
    for (auto& companion : others) {
        start(companion);
    }
    loops.start();
    makeTracks();
}

void Machine::makeTracks() {
    for (int n = 0; n < jobTrackCount; ++n) {
        jobTracks.push_back(makeTrack(jobTrackSize));
    }
    ofDisk = makeTrack(diskTrackSize);
    const auto track = makeTrack(frameTrackSize);
    writer = std::make_unique<FrameWriter>(where.storage, track, frameTrackSize);
    reader = std::make_unique<FrameReader>(where.storage, track);
}

std::int64_t Machine::makeTrack(std::uint64_t size) {
    const auto track = loops.createTrack(size);
    kept[track] = size;
    return track;
}

void Machine::startService() {
    services.push_back(std::make_unique<test::Service>(
        std::vector<std::string>{"prlimit", underFewDescriptors, "--", test::Service::program}));
    up = true;
    if (services.size() > servicesKept) {
        services.pop_front();
    }
    if (!service().waitUntilServing()) {
        throw std::runtime_error("the service does not serve");
    }
}

void Machine::haltChanges() {
    signalWhatChanges(SIGSTOP);
}

void Machine::continueChanges() {
    signalWhatChanges(SIGCONT);
}

void Machine::signalWhatChanges(int number) {
    if (loops.isUp()) {
        loops.signal(number);
    }
    for (const auto process : Capture::processes()) {
        ::kill(process, number);
    }
    for (auto& companion : others) {
        if (&companion != &gateway()) {
            companion.run->signal(number);
        }
    }
}

void Machine::killService() {
    service().killHard();
    up = false;
}

test::Ending Machine::interruptService() {
    service().interrupt();
    const auto ending = service().waitForEnd(longestEnd);
    up = ending.how == test::Ending::How::StillRunning;
    return ending;
}

void Machine::start(Companion& companion) {
    companion.run = std::make_unique<test::Process>(companion.command);
}

void Machine::killHard(Companion& companion) {
    companion.run->signal(SIGKILL);
    companion.run->waitForEnd(longestEnd);
}

void Machine::changeOddDevice(OddDevice::Mode mode) {
    odd.become(mode);
    const auto companion = std::find_if(others.begin(), others.end(), [](const Companion& other) {
        return other.name == OddDevice::name;
    });
    killHard(*companion);
    companion->command = odd.command();
    start(*companion);
}

void Machine::deleteRegistry() {
    for (const auto& file : registryFiles()) {
        fs::remove(file);
    }
}

void Machine::damageRegistry(std::mt19937& random) {
    for (const auto& file : registryFiles()) {
        const auto size = fs::file_size(file);
        if (random() % 2 == 0) {
            overwriteWithNoise(file, size, random);
        } else {
            fs::resize_file(file, size * (random() % 100) / 100);
        }
    }
}

std::vector<pid_t> Machine::programs() const {
    std::vector<pid_t> ids;
    if (up) {
        ids.push_back(services.back()->id());
    }
    if (loops.isUp()) {
        ids.push_back(loops.id());
    }
    for (const auto& companion : others) {
        ids.push_back(companion.run->id());
    }
    return ids;
}

bool Machine::hasLogged(const std::string& text) const {
    return std::any_of(services.begin(), services.end(),
                       [&](const auto& run) { return run->log().contains(text); });
}

std::string Machine::jobLog(const std::string& label) {
    return std::string(jobLogFolder) + "/" + label + ".log";
}

void Machine::saveLogs(const std::string& target) const {
    fs::create_directories(target);
    std::size_t number = 0;
    for (const auto& run : services) {
        std::ofstream(target + "/service-" + std::to_string(number++) + ".log")
            << run->log().text();
    }
    std::ofstream(target + "/storage.log") << loops.log();
    std::error_code none;
    fs::copy(jobLogFolder, target + "/jobs",
             fs::copy_options::recursive | fs::copy_options::overwrite_existing, none);
}

}  // namespace tarn::chaos
