#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "proto/service_job.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/peers/support/JobEvents.h"
#include "tests/peers/support/TestService.h"
#include "tests/support/Process.h"

namespace tarn::test {

/// One job: its launcher, its endpoints, and what it is set up with.
class TestJob {
  public:
    TestJob(const TestService& service, std::string name, const std::string& pipeline);

    /// Starts the launcher; `options` come after label, endpoint and log folder.
    void launch(const std::vector<std::string>& options = {});
    tarn::proto::service_job::JobToServiceReply setUp() const;

    /// launch, setUp, and the expectation that it was accepted.
    void play(const std::vector<std::string>& options = {});

    tarn::proto::service_job::ServiceToJobRequestSetup& setup();
    std::string& id() { return *setup().mutable_job_description()->mutable_job_id(); }
    JobClient client() const { return JobClient(endpoint("command")); }
    std::string endpoint(const std::string& kind) const;
    std::string setupPath() const;
    std::string log() const;

    tarn::proto::service_job::ServiceToJobRequest request;
    JobEvents events;
    std::unique_ptr<Process> launcher;

  private:
    std::string logFolder() const;

    const TestService& service;
    const std::string name;
};

/// A service, and verbs for its jobs.
struct WorkflowFixture : testing::Test {
    TestService service;

    std::unique_ptr<TestJob> makeJob(const std::string& pipeline, const std::string& name = "job");
    std::string pathOf(const std::string& name) const { return service.pathOf(name); }

    static constexpr auto endless = "videotestsrc is-live=true ! fakesink";
    static constexpr auto short_ = "videotestsrc num-buffers=5 ! fakesink";
};

}  // namespace tarn::test
