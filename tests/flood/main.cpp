// A machine with many devices and jobs, and many clients that ask without a pause: whether every
// answer is right, and memory and descriptors stay as they are. scripts/flood runs it.
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/utils/Synchronised.h"
#include "tests/flood/Readings.h"
#include "tests/support/Eventually.h"
#include "tests/support/OtherUser.h"
#include "tests/support/Process.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/harness/Job.h"
#include "tests/system/harness/Service.h"

namespace {

using namespace std::chrono_literals;
using namespace tarn::test;
using tarn::flood::Readings;
using Clock = std::chrono::steady_clock;

constexpr double mostGrowth = 5;  // percent

struct Options {
    unsigned seconds = 180;
    unsigned clients = 50;
    unsigned devices = 100;
    unsigned jobs = 50;
    bool attack = false;
};

/// What was not as it should be, said as it is found.
class Problems {
  public:
    void add(const std::string& text) {
        const auto number = ++count;
        if (number <= 20) {
            std::cerr << "problem: " << text << std::endl;
        }
    }
    unsigned number() const { return count; }

  private:
    std::atomic<unsigned> count = 0;
};

class Machine {
  public:
    explicit Machine(const Options& options) : options(options) {
        std::string sections;
        for (unsigned number = 0; number < options.devices; ++number) {
            const auto endpoint = fmt::format("ipc:///tmp/flood-{}", number);
            devices.push_back(std::make_unique<Process>(std::vector<std::string>{
                TARN_MISBEHAVING_DEVICE, "--endpoint", endpoint, "--id",
                fmt::format("flood-{}", number), "--event-endpoint", endpoint + "-events"}));
            sections += "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>" + endpoint +
                        "</MonitoringInterface></TarnProtocolDevice>\n";
        }
        writeConfigurationSections(sections);
        gateway = std::make_unique<Process>(std::vector<std::string>{gatewayProgram});
        service = std::make_unique<Process>(std::vector<std::string>{Service::program});
    }

    /// False when it does not come up.
    bool comeUp() {
        Api api;
        if (!eventuallyWithin(60s, [&] { return api.info().has_value(); })) {
            return false;
        }
        for (unsigned number = 0; number < options.jobs; ++number) {
            if (!api.submit(
                    {.pipeline = "audiotestsrc is-live=true samplesperbuffer=44100 ! fakesink",
                     .id = fmt::format("flood-job-{}", number)})) {
                return false;
            }
        }
        return eventuallyWithin(60s, [&] {
            const auto jobs = api.jobs();
            return jobs && jobs->size() == options.jobs && devicesIn(api) >= options.devices;
        });
    }

    static std::size_t devicesIn(Api& api) {
        const auto reply = api.ask(
            requestOfType(tarn::proto::api_service::ApiToServiceRequest::GET_MONITORING_INFO));
        const auto text = reply ? reply->SerializeAsString() : std::string();
        std::size_t count = 0;
        for (auto at = text.find("flood-"); at != std::string::npos;
             at = text.find("flood-", at + 1)) {
            ++count;
        }
        return count;
    }

    std::vector<std::pair<std::string, pid_t>> watched() const {
        return {{"service", service->id()}, {"gateway", gateway->id()}};
    }

    /// Whether both ended as they should.
    bool stop() {
        service->signal(SIGINT);
        const bool isServiceGood = service->waitForEnd(60s) == Ending::exited(0);
        gateway->signal(SIGTERM);
        return gateway->waitForEnd(20s) == Ending::exited(0) && isServiceGood;
    }

  private:
    const Options& options;
    std::vector<std::unique_ptr<Process>> devices;
    std::unique_ptr<Process> gateway;
    std::unique_ptr<Process> service;
};

/// Asks one thing after the other, and knows the answers.
class Client {
  public:
    Client(const Options& options, Problems& problems, std::atomic<unsigned long>& answers)
        : options(options), problems(problems), answers(answers), thread([this](const auto& stop) {
              for (unsigned turn = 0; !stop.stop_requested(); ++turn) {
                  ask(turn);
                  std::this_thread::sleep_for(20ms);
              }
          }) {}

  private:
    void ask(unsigned turn) {
        switch (turn % 4) {
            case 0:
                return check(api.info().has_value(), "no info");
            case 1: {
                const auto jobs = api.jobs();
                return check(jobs && jobs->size() == options.jobs, "another list of jobs");
            }
            case 2: {
                const auto id = fmt::format("flood-job-{}", turn % std::max(options.jobs, 1U));
                const auto job = api.job(id);
                return check(options.jobs == 0 || (job && job->has_running_job()), "no job " + id);
            }
            default:
                return check(Machine::devicesIn(api) >= options.devices, "a device is missing");
        }
    }

    void check(bool isGood, const std::string& what) {
        ++answers;
        if (!isGood) {
            problems.add(what);
        }
    }

    const Options& options;
    Problems& problems;
    std::atomic<unsigned long>& answers;
    Api api;
    std::jthread thread;
};

/// Another user, who tries one thing after the other.
class Attack {
  public:
    Attack() {
        ::chmod("/tmp/requests", 0666);  // as somebody who may ask
        ::chmod("/tmp/events.pub", 0666);
        next();
    }

    void next() {
        static constexpr const char* ways[] = {"half-open",   "idle",      "large",  "parts",
                                               "large-parts", "too-large", "unread", "requests"};
        const std::string way = ways[turn++ % std::size(ways)];
        current =
            std::make_unique<Process>(commandAs({}, {TARN_ATTACKER, "/tmp/requests", way, "200"}));
    }

  private:
    unsigned turn = 0;
    std::unique_ptr<Process> current;
};

struct Watch {
    std::string name;
    pid_t process;
    Readings memory{name + " memory"};
    Readings descriptors{name + " descriptors"};
};

int conclude(const std::vector<std::unique_ptr<Watch>>& watches, const Options& options,
             Problems& problems) {
    for (const auto& watch : watches) {
        for (const auto* readings : {&watch->memory, &watch->descriptors}) {
            std::cout << readings->describe() << "\n";
            if (!options.attack && readings->growth() > mostGrowth) {
                problems.add("it grows: " + readings->describe());
            }
        }
    }
    std::cout << "problems: " << problems.number() << std::endl;
    return problems.number() == 0 ? 0 : 1;
}

int run(const Options& options) {
    Problems problems;
    Machine machine(options);
    if (!machine.comeUp()) {
        std::cerr << "problem: the machine does not come up" << std::endl;
        return 1;
    }
    std::vector<std::unique_ptr<Watch>> watches;
    for (const auto& [name, process] : machine.watched()) {
        watches.push_back(std::make_unique<Watch>(Watch{name, process}));
    }
    std::atomic<unsigned long> answers = 0;
    {
        std::vector<std::unique_ptr<Client>> clients;
        for (unsigned number = 0; number < options.clients; ++number) {
            clients.push_back(std::make_unique<Client>(options, problems, answers));
        }
        const auto attack = options.attack ? std::make_unique<Attack>() : nullptr;
        for (unsigned second = 0; second < options.seconds; ++second) {
            std::this_thread::sleep_for(1s);
            for (const auto& watch : watches) {
                watch->memory.add(tarn::flood::residentBytesOf(watch->process));
                watch->descriptors.add(tarn::flood::openDescriptorsOf(watch->process));
            }
            if (attack && second % 10 == 9) {
                attack->next();
            }
        }
    }
    std::cout << "answers: " << answers << " (" << answers / options.seconds << " a second)\n";
    if (!machine.stop()) {
        problems.add("it did not stop in order");
    }
    return conclude(watches, options, problems);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Many clients, devices and jobs for a while, and what that costs");
    app.add_option("--seconds", options.seconds, "How long")->check(CLI::PositiveNumber);
    app.add_option("--clients", options.clients, "That ask without a pause");
    app.add_option("--devices", options.devices, "That are there");
    app.add_option("--jobs", options.jobs, "That run");
    app.add_flag("--attack", options.attack, "Another user floods the service as well");
    CLI11_PARSE(app, argc, argv);
    if (std::getenv("PRIVATE_NAMESPACE_ENTER") == nullptr) {
        std::cerr << "run this through scripts/flood" << std::endl;
        return 2;
    }
    if (options.attack && !canBeOthers()) {
        std::cerr << "there is no other user here" << std::endl;
        return 2;
    }
    try {
        return run(options);
    } catch (const std::exception& e) {
        std::cerr << "problem: " << e.what() << std::endl;
        return 1;
    }
}
