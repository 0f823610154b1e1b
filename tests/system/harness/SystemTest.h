#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/harness/Job.h"
#include "tests/system/harness/Service.h"

namespace tarn::test {

/// A machine of the test's own with the built programs installed: see scripts/in-private-namespace.
/// At the end the service is stopped and must have left in order, and no process and no socket file
/// may be left; when a test fails, the logs of its services are printed.
class SystemTest : public ::testing::Test {
  protected:
    SystemTest();

    void SetUp() override;
    void TearDown() override;

    /// Writes /etc/TarnConfiguration.xml, for services that are started later.
    void configure(const std::string& text) const;
    /// The same with `sections` inside the root element.
    void configureSections(const std::string& sections) const;

    /// Starts a service and waits until it serves.
    Service& startService();
    /// Starts one and does not wait.
    Service& launchService();
    /// The one that was started last.
    Service& service();

    /// A new client; the service answers it.
    Api& api();

    /// Submits a job, which must be accepted, and waits until it plays.
    std::unique_ptr<Job> startJob(const JobOrder& order);

    /// Whether the service's list holds the job.
    bool isListed(const std::string& id);

    /// Waits until a job is refused for a reason that begins with `reason`. Where the machine is so
    /// slow that the job was accepted first, only its own log says so.
    bool waitForRefusal(const std::string& reason = {});

    /// For tests in which the service ends otherwise than by TearDown's interrupt.
    void expectNothingIsLeft();

    /// A pipeline that runs until it is told to stop.
    static constexpr auto endless = "videotestsrc is-live=true ! fakesink";

  private:
    std::vector<std::unique_ptr<Service>> services;
    std::unique_ptr<Api> client;
};

}  // namespace tarn::test
