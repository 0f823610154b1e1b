#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <system_error>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/Samples.h"
#include "platform/os/ProcessIdentity.h"
#include "platform/socket/Socket.h"
#include "proto/api_service.pb.h"
#include "proto/monitoring.pb.h"
#include "tests/support/Spawn.h"

namespace tarn::benchmarks {

namespace {

using namespace tarn::proto::api_service;
using namespace tarn::proto::monitoring;
using tarn::proto::deltacast_configuration::DeltacastConfig;
using Clock = std::chrono::steady_clock;

constexpr auto program = "/opt/halden/halden-kln-sdi-ingest-service/bin/KLN-SDI-Ingest-Service";
constexpr std::uint32_t replyLimit = 1 << 24;
constexpr int killings = 30;

int rounds() {
    const char* const wish = std::getenv("CAPTURE_ROUNDS");
    return wish != nullptr ? std::atoi(wish) : 60;
}

class Service {
  public:
    Service() {
        socket.createAndConnect(socket::Protocol::Request,
                                socket::SocketEndpoint::FromString("ipc:///tmp/requests"), 5000);
    }

    ServiceToApiReply ask(const ApiToServiceRequest& request) {
        socket.sendProtoBuf(&request);
        ServiceToApiReply reply;
        socket.receiveProtoBuf(&reply, replyLimit);
        return reply;
    }

    void configure(const DeltacastConfig& config) {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::CONFIGURE_DELTACAST);
        *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base)->mutable_config() =
            config;
        if (!ask(request).success()) {
            throw std::runtime_error("the format was refused");
        }
    }

    bool isInForce(const DeltacastConfig& config) {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::GET_DELTACAST);
        const auto reply = ask(request);
        return reply.success() && reply.GetExtension(ServiceToApiReplyGetDeltacast::base)
                                          .config()
                                          .SerializeAsString() == config.SerializeAsString();
    }

  private:
    socket::Socket socket{"benchmark", socket::ClosePolicy::Discard};
};

void await(const char* what, const std::function<bool()>& condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (Clock::now() >= deadline) {
            throw std::runtime_error(std::string(what) + " did not happen");
        }
        ::usleep(500);
    }
}

DeltacastConfig formatOf(int round) {
    DeltacastConfig config;
    config.set_pixel_format(DeltacastConfig::UYVY422_8);
    const bool isEven = round % 2 == 0;
    config.set_line_count(isEven ? DeltacastConfig::LINES_720 : DeltacastConfig::LINES_576);
    config.set_field_mode(isEven ? DeltacastConfig::PROGRESSIVE : DeltacastConfig::INTERLACED);
    config.set_frame_rate(DeltacastConfig::RATE_25);
    auto& input = *config.add_inputs();
    input.set_channel(0);
    input.set_frame_offset(0);
    return config;
}

// Whoever asks, each time another moment of the service's cycle.
void pauseSomewhere() {
    static std::minstd_rand generator(1);
    ::usleep(std::uniform_int_distribution<useconds_t>(0, 500'000)(generator));
}

DeviceToTarnServiceReply askIngest(const std::string& endpoint,
                                   TarnServiceToDeviceRequest::Type type) {
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, socket::SocketEndpoint::FromString(endpoint),
                            10'000);
    TarnServiceToDeviceRequest request;
    request.set_type(type);
    if (type == TarnServiceToDeviceRequest::CONTROL) {
        request.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    }
    socket.sendProtoBuf(&request);
    DeviceToTarnServiceReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    return reply;
}

/// The process's own start: until it answers, when it is started by hand.
void measureOwnStart(int round, Samples& samples) {
    const bool isEven = round % 2 == 0;
    const std::vector<std::string> command = {program,
                                              "uyvy422_8",
                                              "0",
                                              "0",
                                              isEven ? "720" : "576",
                                              isEven ? "p" : "i",
                                              "25",
                                              "--endpoint",
                                              "ipc:///tmp/by-hand",
                                              "--poll-only",
                                              "--socket-prefix",
                                              "/tmp/by-hand"};
    const auto begin = Clock::now();
    const auto child = test::spawn(command);
    askIngest("ipc:///tmp/by-hand", TarnServiceToDeviceRequest::GET_DESCRIPTION);
    samples.add(Clock::now() - begin);
    askIngest("ipc:///tmp/by-hand", TarnServiceToDeviceRequest::CONTROL);
    ::waitpid(child, nullptr, 0);
}

pid_t ingestProcess() {
    const auto reply =
        askIngest("ipc:///tmp/deltacast", TarnServiceToDeviceRequest::GET_DESCRIPTION);
    for (const auto& property :
         reply.GetExtension(GetDescriptionReply::base).device().properties()) {
        if (property.name() == "PID") {
            return static_cast<pid_t>(std::stol(property.value()));
        }
    }
    throw std::runtime_error("the ingest service tells no process id");
}

std::size_t entries(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

/// Written by the service when it notices that its ingest service has ended.
std::size_t noticedEnds() {
    std::FILE* const log = std::fopen("/var/log/halden-tarn/halden-tarn-service.log", "r");
    if (log == nullptr) {
        throw std::runtime_error("the service has no log");
    }
    std::size_t count = 0;
    char line[4096];
    while (std::fgets(line, sizeof line, log) != nullptr) {
        count += std::string(line).find("Changing status from Running to Unreachable") !=
                         std::string::npos
                     ? 1
                     : 0;
    }
    std::fclose(log);
    return count;
}

void report(const std::string& benchmark, const nlohmann::ordered_json& values) {
    nlohmann::ordered_json line = {{"benchmark", benchmark}};
    line.update(values);
    std::puts(line.dump().c_str());
    std::fflush(stdout);
}

}  // namespace

void measureCaptureFormats() {
    Service service;
    int round = 0;
    const auto change = [&] {
        const auto config = formatOf(round++);
        service.configure(config);
        await("the change", [&] { return service.isInForce(config); });
    };
    change();
    const auto memoryBefore = entries("/dev/shm");
    Samples changed;
    Samples started;
    for (int i = 0; i < rounds(); ++i) {
        measureOwnStart(round, started);
        pauseSomewhere();
        const auto begin = Clock::now();
        change();
        changed.add(Clock::now() - begin);
    }
    report("capture set to new process running", changed, "the same process started by hand",
           started);
    report("left after the changes",
           {{"changes", rounds()}, {"shared_memory", entries("/dev/shm") - memoryBefore}});
}

void measureDeadIngest() {
    Service service;
    Samples noticed;
    for (int i = 0; i < killings; ++i) {
        const auto config = formatOf(i);
        service.configure(config);
        await("the change", [&] { return service.isInForce(config); });
        pauseSomewhere();
        const auto before = noticedEnds();
        const auto id = ingestProcess();
        const auto begin = Clock::now();
        ::kill(id, SIGKILL);
        await("the notice", [&] { return noticedEnds() > before; });
        noticed.add(Clock::now() - begin);
    }
    report("a dead ingest process noticed", {{"samples", noticed.count()},
                                             {"p50_us", noticed.percentile(0.5)},
                                             {"p99_us", noticed.percentile(0.99)}});
}

}  // namespace tarn::benchmarks
