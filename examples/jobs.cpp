// Runs a media job on the server and follows it to its end: a whole client of the protocols, of
// nothing but the messages and the messaging library.
//
// usage: jobs [--requests ENDPOINT] PIPELINE
//
// Ctrl-C ends the job in order. Exit status: 0 the job reached its end, or was ended as asked;
// 1 it was refused, failed or crashed; 3 the server does not answer.

#include <signal.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <zmq.hpp>

#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"

namespace {

namespace api = tarn::proto::api_service;
namespace job = tarn::proto::job_monitoring;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Request = api::ApiToServiceRequest;

volatile sig_atomic_t interrupts = 0;

struct NoAnswer : std::runtime_error {
    using runtime_error::runtime_error;
};

/// The asking side of an endpoint. Usable again after a question that was not answered.
class Asker {
  public:
    Asker(zmq::context_t& context, const std::string& where)
        : endpoint(where), socket(context, zmq::socket_type::req) {
        // After a time-out, ask again; and never take a late answer for the next one's.
        socket.set(zmq::sockopt::req_relaxed, true);
        socket.set(zmq::sockopt::req_correlate, true);
        socket.set(zmq::sockopt::linger, 0);
        socket.connect(endpoint);
    }

    template <typename Reply>
    Reply ask(const google::protobuf::Message& request) {
        socket.send(zmq::buffer(request.SerializeAsString()), zmq::send_flags::none);
        zmq::message_t answer;
        Reply reply;
        if (!isReadableBy(Clock::now() + 5s) || !socket.recv(answer) ||
            !reply.ParseFromArray(answer.data(), static_cast<int>(answer.size()))) {
            throw NoAnswer("no answer from " + endpoint);
        }
        return reply;
    }

  private:
    // A signal ends a wait early.
    bool isReadableBy(Clock::time_point end) {
        zmq::pollitem_t item{socket.handle(), 0, ZMQ_POLLIN, 0};
        while (Clock::now() < end) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (zmq_poll(&item, 1, left.count() + 1) > 0) {
                return true;
            }
        }
        return false;
    }

    const std::string endpoint;
    zmq::socket_t socket;
};

class Service {
  public:
    Service(zmq::context_t& context, const std::string& endpoint) : asker(context, endpoint) {}

    api::ServiceToApiReplyInfo info() {
        Request request;
        request.set_type(Request::GET_INFO);
        return ask(request).GetExtension(api::ServiceToApiReplyInfo::base);
    }

    /// Answered before the job is launched: what becomes of it, its events tell.
    api::ServiceToApiReplyJobSubmission submit(const std::string& id, const std::string& pipeline) {
        Request request;
        request.set_type(Request::JOB_SUBMISSION);
        auto& submission = *request.MutableExtension(api::ApiToServiceRequestJobSubmission::base);
        submission.mutable_job_description()->set_name("example");
        submission.mutable_job_description()->set_job_id(id);
        submission.set_job_configuration(pipeline);
        return ask(request).GetExtension(api::ServiceToApiReplyJobSubmission::base);
    }

    bool lists(const std::string& id) {
        Request request;
        request.set_type(Request::GET_JOB_BY_UUID);
        request.MutableExtension(api::ApiToServiceRequestGetJobByUuid::base)->set_uuid(id);
        return ask(request)
            .GetExtension(api::ServiceToApiReplyGetJobByUuid::base)
            .has_running_job();
    }

  private:
    api::ServiceToApiReply ask(const Request& request) {
        auto reply = asker.ask<api::ServiceToApiReply>(request);
        if (!reply.success()) {
            throw std::runtime_error(reply.error_message());
        }
        return reply;
    }

    Asker asker;
};

std::string textOf(const job::JobEvent& event) {
    switch (event.type()) {
        case job::JobEvent::STATE:
            return "state: " +
                   job::JobState_Name(event.GetExtension(job::JobEventState::base).state());
        case job::JobEvent::PROGRESS:
            return "at " +
                   std::to_string(event.GetExtension(job::JobEventProgress::base).position_ns() /
                                  1'000'000) +
                   " ms";
        case job::JobEvent::FAILURE:
            return "failure: " + event.GetExtension(job::JobEventFailure::base).message();
        default:
            return "an event that this client does not know";
    }
}

class Job {
  public:
    Job(zmq::context_t& context, std::string jobId,
        const api::ServiceToApiReplyJobSubmission& endpoints)
        : id(std::move(jobId)),
          commands(context, endpoints.first_job_endpoint()),
          events(context, zmq::socket_type::sub) {
        events.set(zmq::sockopt::linger, 0);
        events.set(zmq::sockopt::subscribe, "");
        // The endpoint is there in a moment; the library goes on trying.
        events.set(zmq::sockopt::reconnect_ivl, 10);
        events.connect(endpoints.second_job_endpoint());
    }

    /// Prints what the job says, and returns the last of it; nothing for one that left no word.
    std::optional<job::JobEventEnd> follow(Service& service) {
        auto heard = Clock::now();
        while (true) {
            if (interrupts > 0) {
                interrupts = 0;
                destroy();
            }
            if (const auto event = next(200ms)) {
                heard = Clock::now();
                if (event->type() == job::JobEvent::END) {
                    return event->GetExtension(job::JobEventEnd::base);
                }
                std::cout << textOf(*event) << std::endl;
            } else if (Clock::now() - heard > 3s) {
                // Progress comes once a second. A job that is silent and not listed is no more.
                if (!service.lists(id)) {
                    return std::nullopt;
                }
                heard = Clock::now();
            }
        }
    }

  private:
    std::optional<job::JobEvent> next(std::chrono::milliseconds bound) {
        zmq::pollitem_t item{events.handle(), 0, ZMQ_POLLIN, 0};
        zmq::message_t message;
        job::JobEvent event;
        if (zmq_poll(&item, 1, bound.count()) <= 0 || !events.recv(message) ||
            !event.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
            return std::nullopt;
        }
        return event;
    }

    void destroy() {
        namespace api_job = tarn::proto::api_job;
        api_job::ApiToJobRequest request;
        request.set_type(api_job::ApiToJobRequest::DESTROY);
        request.MutableExtension(api_job::ApiToJobRequestDestroy::base)->set_destroy_option(true);
        commands.ask<api_job::JobToApiReply>(request);
    }

    const std::string id;
    Asker commands;
    zmq::socket_t events;
};

std::string newId() {
    std::string id;
    std::ifstream("/proc/sys/kernel/random/uuid") >> id;
    return id;
}

int run(const std::string& requests, const std::string& pipeline) {
    zmq::context_t context;
    Service service(context, requests);
    const auto info = service.info();
    std::cout << info.service_name() << ' ' << info.version() << std::endl;
    const auto id = newId();
    const auto end = Job(context, id, service.submit(id, pipeline)).follow(service);
    if (!end) {
        std::cerr << "the job is gone and left no word\n";
        return 1;
    }
    std::cout << "end: " << job::JobEventEnd::Reason_Name(end->reason()) << ' ' << end->message()
              << std::endl;
    const bool isAsAsked = end->reason() == job::JobEventEnd::END_OF_STREAM ||
                           end->reason() == job::JobEventEnd::DESTROYED;
    return isAsAsked ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
    const bool namesEndpoint = count == 4 && std::string_view(words[1]) == "--requests";
    if (count != 2 && !namesEndpoint) {
        std::cerr << "usage: jobs [--requests ENDPOINT] PIPELINE\n";
        return 2;
    }
    ::signal(SIGINT, [](int) { interrupts = 1; });
    try {
        return run(namesEndpoint ? words[2] : "ipc:///tmp/requests", words[count - 1]);
    } catch (const NoAnswer& silence) {
        std::cerr << silence.what() << '\n';
        return 3;
    } catch (const std::exception& refusal) {
        std::cerr << refusal.what() << '\n';
        return 1;
    }
}
