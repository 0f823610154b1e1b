#include "service/workflows/JobRequests.h"

#include <exception>
#include <stdexcept>

#include "platform/os/Deadline.h"
#include "platform/socket/Socket.h"
#include "proto/api_job.pb.h"

namespace tarn::service {

namespace {

using resource_manager::RunningJob;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;

/// One job that was asked, until it answers.
class AskedJob {
  public:
    AskedJob(const RunningJob& job, const ApiToJobRequest& request,
             const JobRequestOptions& options)
        : job(job), options(options), socket(options.socketName, options.closePolicy) {
        try {
            ask(request);
        } catch (const std::exception& e) {
            notAsked = e.what();
        }
    }

    void handOver(const os::Deadline& deadline, const TakeJobReply& take) {
        JobToApiReply reply;
        const auto problem = receive(reply, deadline);
        socket.close();  // before it is dealt with: there may be hundreds
        take(job, problem ? nullptr : &reply, problem.value_or(""));
    }

  private:
    void ask(const ApiToJobRequest& request) {
        socket.setTimeout(options.bound);
        socket.createAndConnect(
            socket::Protocol::Request,
            socket::SocketEndpoint::FromString(job.getCommandEndpoint()).asPeer(), 0);
        socket.sendProtoBuf(&request);
    }

    std::optional<std::string> receive(JobToApiReply& reply, const os::Deadline& deadline) {
        if (notAsked) {
            return notAsked;
        }
        try {
            await(deadline);
            socket.receiveProtoBuf(&reply, options.replyLimit);
            return std::nullopt;
        } catch (const std::exception& e) {
            return e.what();
        }
    }

    void await(const os::Deadline& deadline) {
        std::string error;
        const auto left = static_cast<std::uint32_t>(deadline.remaining().count());
        const int polled = socket.poll(left, error);
        if (polled == 1) {
            error = socket.debugString() + ": nothing was received within " +
                    std::to_string(options.bound.count()) + " ms";
        }
        if (polled != 0) {
            throw std::runtime_error(error);
        }
    }

    const RunningJob& job;
    const JobRequestOptions& options;
    socket::Socket socket;
    std::optional<std::string> notAsked;  // why
};

}  // namespace

void askJobs(const std::list<RunningJob>& jobs, const ApiToJobRequest& request,
             const JobRequestOptions& options, const TakeJobReply& take) {
    const os::Deadline deadline(options.bound);
    std::list<AskedJob> asked;
    for (const auto& job : jobs) {
        asked.emplace_back(job, request, options);
    }
    for (auto& job : asked) {
        job.handOver(deadline, take);
    }
}

}  // namespace tarn::service
