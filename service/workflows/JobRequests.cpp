#include "service/workflows/JobRequests.h"

#include <exception>

#include "platform/socket/Exchange.h"
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

    void handOver(const socket::AnswerWait& wait, const TakeJobReply& take) {
        JobToApiReply reply;
        const auto problem = receive(reply, wait);
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

    std::optional<std::string> receive(JobToApiReply& reply, const socket::AnswerWait& wait) {
        if (notAsked) {
            return notAsked;
        }
        try {
            socket::awaitAnswer(socket, wait);
            socket.receiveProtoBuf(&reply, options.replyLimit);
            return std::nullopt;
        } catch (const std::exception& e) {
            return e.what();
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
    const socket::AnswerWait wait{.within = options.bound};
    std::list<AskedJob> asked;
    for (const auto& job : jobs) {
        asked.emplace_back(job, request, options);
    }
    for (auto& job : asked) {
        job.handOver(wait, take);
    }
}

}  // namespace tarn::service
