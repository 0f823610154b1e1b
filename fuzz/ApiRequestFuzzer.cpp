// What clients ask, one request after the other, of the real server over its real socket. Around it
// is nothing but what the tests have: no shell, a storage in this process, jobs that answer as the
// input says. Whatever is asked, every request that is served is answered, once, in order, with a
// reply of its kind that can be read; and no text of a client is more than one word to a shell.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <zmq.hpp>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/ShellWords.h"
#include "platform/utils/Synchronised.h"
#include "proto/monitoring.pb.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/DeviceController.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/TrackTasks.h"
#include "tests/service/api/ApiBed.h"
#include "tests/service/fake_storage/FakeStorage.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace {

using namespace tarn;
using fuzz::ApiRequests;
using fuzz::require;
using proto::api_service::ApiToServiceRequest;
using proto::api_service::ServiceToApiReply;
using service::devices::LoopStorageDeviceController;

constexpr unsigned inputsOfABed = 500;
constexpr std::chrono::seconds answerWithin{20};

// Of more answers that wait for a client some are dropped.
constexpr int mostAhead = 15;  // and the one that is sent

/// The server with its surroundings, and a client that asks on before it has the answers.
class Bed {
  public:
    Bed() {
        bed.makeLoopStorageController = [this](const auto& configured) {
            return std::make_shared<LoopStorageDeviceController>(
                configured.getAddress(), LoopStorageDeviceController::Dependencies{tasks});
        };
        std::list<std::string> errors;
        bed.devices.initFromConfiguration(errors);
        bed.registerJob("job-1", "ipc:///tmp/job-1", {{"Endpoint", {"ipc:///tmp/job-1"}}});
        bed.onCommand([this](const std::string& command) { launch(command); });
        fuzz::logIntoNothing();
        bed.start();
        client.set(zmq::sockopt::linger, 0);
        client.set(zmq::sockopt::rcvtimeo, 1000 * static_cast<int>(answerWithin.count()));
        client.connect(bed.endpoint);
    }

    void feed(const ApiRequests& input) {
        launches.lock()->answers = &input;
        int awaited = 0;
        for (const auto& request : input.request()) {
            send(request);
            awaited += isServed(request.type()) ? 1 : 0;
            for (; awaited > mostAhead; --awaited) {
                receive();
            }
        }
        ApiToServiceRequest last;
        last.set_type(ApiToServiceRequest::GET_INFO);
        send(last);
        for (; awaited > 0; --awaited) {
            receive();
        }
        require(receive() == ServiceToApiReply::INFO);
        launches.lock()->peer.reset();
    }

  private:
    static bool isServed(ApiToServiceRequest::ApiToServiceRequestType type) {
        return type != ApiToServiceRequest::UNKNOWN;
    }

    void send(const ApiToServiceRequest& request) {
        const auto bytes = request.SerializePartialAsString();
        client.send(zmq::message_t(), zmq::send_flags::sndmore);
        client.send(zmq::buffer(bytes), zmq::send_flags::none);
    }

    ServiceToApiReply::ServiceToApiReplyType receive() {
        zmq::message_t delimiter;
        zmq::message_t body;
        require(client.recv(delimiter).has_value() && client.recv(body).has_value());
        ServiceToApiReply reply;
        require(reply.ParseFromArray(body.data(), static_cast<int>(body.size())) &&
                reply.type() != ServiceToApiReply::UNKNOWN && reply.has_success());
        return reply.type();
    }

    // On the server's thread, in the place of a shell.
    void launch(const std::string& command) {
        const auto label = command.find(" -l ");
        const bool isJob = label != std::string::npos;
        require(!isJob || fuzz::isHarmlessToShell(std::string_view(command).substr(label)));
        // Behind the label, which may hold anything.
        const auto endpoint = command.substr(command.rfind(" -e ") + 4);
        launches.lock()->answerAt(endpoint.substr(0, endpoint.find(' ')), isJob);
    }

    /// What the input says of launched jobs and engines, and the last of them.
    struct Launches {
        void answerAt(const std::string& endpoint, bool isJob) {
            if (isJob ? !answers->has_job_answer() : !answers->has_engine_answer()) {
                throw std::runtime_error("nothing can be launched");
            }
            peer.reset();
            if (isJob) {
                peer.emplace(endpoint, job, &answers->job_answer());
            } else {
                peer.emplace(endpoint, engine, &answers->engine_answer());
            }
        }

        const ApiRequests* answers = nullptr;
        proto::service_job::ServiceToJobRequest job;
        proto::service_engine::ServiceToEngineRequest engine;
        std::optional<test::FakeSetupPeer> peer;
    };

    utils::Synchronised<Launches> launches;
    test::FakeStorage storage{"/run/loops"};
    service::devices::TrackTasks tasks;
    test::ApiBed bed{
        "<Storage type=\"LoopStorage\"><InterfaceType>unix</InterfaceType>"
        "<InterfaceAddress>/run/loops</InterfaceAddress></Storage>"
        "<Paths><PersistentJobsFolder>/tmp</PersistentJobsFolder></Paths>"};
    zmq::context_t context;
    zmq::socket_t client{context, zmq::socket_type::dealer};
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    ApiRequests input;
    return fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Both have something that lives as long as the process, and that the bed needs to its end.
    static const test::FakeStorage beforeTheBed("/run/first");
    [[maybe_unused]] static const bool wasTold = service::devices::DeviceController::notifyEvent(
        &proto::monitoring::DeviceToTarnServiceEvent::default_instance());
    static std::unique_ptr<Bed> bed;
    static unsigned inputs = 0;
    ApiRequests input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    if (!bed || ++inputs % inputsOfABed == 0) {
        bed.reset();  // tickets of tracks are kept for the life of a process
        bed = std::make_unique<Bed>();
    }
    bed->feed(input);
    return 0;
}
