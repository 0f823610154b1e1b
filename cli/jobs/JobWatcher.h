#pragma once

#include <chrono>
#include <string>

#include "cli/jobs/JobClient.h"
#include "cli/jobs/JobEventSubscription.h"
#include "cli/jobs/JobFollower.h"
#include "cli/jobs/JobOutcome.h"
#include "proto/api_service.fwd.h"

namespace tarn::cli {

class Interrupt;
class JobReporter;
class ServiceClient;

/// Follows one job to its end: receives its events, and while there are none asks the service, and
/// if that is silent the job itself, whether it still runs. Used by one thread.
class JobWatcher {
  public:
    /// Subscribes at once, so that nothing is missed between a submission and watch. The service
    /// client outlives this. CommandError when an endpoint of the job makes no sense.
    JobWatcher(ServiceClient& service, const proto::api_service::RunningJob& job);

    /// Returns when the job has ended, or Ctrl-C was pressed; never waits for a job that is not
    /// there. Every event of the job goes to the reporter.
    JobOutcome watch(JobFollower::Begin begin, JobReporter& reporter, const Interrupt& interrupt);

  private:
    Presence askForJob();
    Presence askJobItself();

    ServiceClient& service;
    const std::string jobId;
    const std::chrono::milliseconds bound;  // of one question
    JobClient commands;
    JobEventSubscription events;
};

}  // namespace tarn::cli
