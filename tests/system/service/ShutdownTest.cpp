#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <thread>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/support/peers/FakeJob.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

// In the order in which the service must say them.
const std::vector<std::string> sequence = {"Terminating service",
                                           "Stopping device event listener",
                                           "Device event listener stopped",
                                           "Stopping event emitter",
                                           "Event emitter stopped",
                                           "Stopping device controllers",
                                           "Device controllers stopped",
                                           "Terminating request handler listener",
                                           "Request handler terminated",
                                           "Terminating running jobs",
                                           "Running jobs terminated",
                                           "Disconnecting resource manager proxy",
                                           "Resource manager proxy disconnected",
                                           "Terminating resource manager handler",
                                           "Resource manager handler terminated",
                                           "Service terminated"};

void expectWholeSequence(const OutputLines& log) {
    std::size_t from = 0;
    for (const auto& text : sequence) {
        const auto found = log.find(text, from);
        ASSERT_TRUE(found) << "missing, or out of order: " << text;
        from = *found + 1;
    }
}

class ShutdownTest : public SystemTest {
  protected:
    static bool hasMapped(pid_t process, const std::string& file) {
        std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
        const std::string text{std::istreambuf_iterator<char>(maps), {}};
        return text.find(file) != std::string::npos;
    }
};

class StopSignalTest : public ShutdownTest, public ::testing::WithParamInterface<int> {};

TEST_P(StopSignalTest, RunsTheWholeSequenceAndEndsWithStatusZero) {
    startService();
    service().signal(GetParam());
    EXPECT_EQ(service().waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(service().log().contains("TRACE Caught signal " + std::to_string(GetParam())));
    expectWholeSequence(service().log());
    EXPECT_THAT(service().log().all().back(), ::testing::HasSubstr("Service terminated"));
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalTest, ::testing::Values(SIGINT, SIGQUIT),
                         [](const auto& test) {
                             return std::string("sig") + ::sigabbrev_np(test.param);
                         });

TEST_F(ShutdownTest, IsNotHeldUpByAStepOfTheStartThatTakesForEver) {
    configureSections("<KLN><Plugin>" TARN_STUCK_PLUGIN "</Plugin></KLN>");
    launchService();
    ASSERT_TRUE(eventually([this] { return hasMapped(service().id(), TARN_STUCK_PLUGIN); }));
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 5s);
    expectWholeSequence(service().log());
    EXPECT_THAT(service().log().all().back(), ::testing::HasSubstr("Service terminated"));
}

TEST_F(ShutdownTest, WithoutJobsNothingStandsBetweenTheTwoLinesAboutThem) {
    startService();
    EXPECT_EQ(service().stop(), Ending::exited(0));
    const auto begin = service().log().find("Terminating running jobs");
    const auto end = service().log().find("Running jobs terminated");
    ASSERT_TRUE(begin && end);
    EXPECT_EQ(*end, *begin + 1);
}

TEST_F(ShutdownTest, SigtermEndsTheProcessWithoutTheSequence) {
    startService();
    service().signal(SIGTERM);
    EXPECT_EQ(service().waitForEnd(), Ending::signalled(SIGTERM));
    EXPECT_FALSE(service().log().contains("Terminating service"));
    // What such an end leaves behind is cleared by the next service.
    startService();
    EXPECT_TRUE(api().info());
}

TEST_F(ShutdownTest, ManyInterruptsAtOnceRunTheSequenceOnce) {
    startService();
    for (int i = 0; i < 20; ++i) {
        service().interrupt();
    }
    EXPECT_EQ(service().waitForEnd(), Ending::exited(0));
    EXPECT_EQ(service().log().count("Terminating service"), 1u);
    EXPECT_EQ(service().log().count("Service terminated"), 1u);
}

TEST_F(ShutdownTest, AnIdleServiceStopsWithinASecond) {
    startService();
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 2500ms);
}

TEST_F(ShutdownTest, RunningJobsAreToldToEndAndDo) {
    startService();
    const auto first = startJob({.pipeline = endless});
    const auto second = startJob({.pipeline = endless});
    EXPECT_EQ(service().stop(), Ending::exited(0));
    for (const auto* job : {first.get(), second.get()}) {
        const auto end = job->waitForEnd();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->reason(), Job::End::DESTROYED);
    }
    EXPECT_EQ(service().log().count("Received reply: "), 2u);
}

/// Jobs that are registered as running, accept connections, and never answer.
class HungJobsTest : public ShutdownTest, public ::testing::WithParamInterface<int> {
  protected:
    void addJob() {
        const auto id = utils::UuidGenerator::Generate();
        auto& job = jobs.emplace_back(id, "hung");
        job.staysSilent();
        resource_manager::ResourceManagerProxy proxy;
        std::string error;
        const resource_manager::RunningJob running(
            resource_manager::JobDescription(job.entry().job_description()),
            job.entry().command_endpoint(), job.entry().event_endpoint(),
            os::ProcessIdentity::ofThisProcess(), {});
        ASSERT_TRUE(
            proxy.connect(socket::SocketEndpoint::FromString("ipc:///tmp/resource"), error) &&
            proxy.registerJob(running, error))
            << error;
        EXPECT_TRUE(isListed(id));
    }

    void TearDown() override {
        jobs.clear();
        ShutdownTest::TearDown();
    }

    std::list<FakeJob> jobs;
};

TEST_P(HungJobsTest, CostFiveSecondsTogetherAndEachHasItsOrder) {
    startService();
    for (int n = 0; n < GetParam(); ++n) {
        addJob();
    }
    const MachineTime time;
    service().interrupt();
    for (auto& job : jobs) {
        EXPECT_TRUE(eventually([&] { return !job.requests().empty(); }, 20s));
    }
    // All have their order before the first one's silence is noticed.
    EXPECT_EQ(service().log().count("Failed destroy command to job: "), 0u);
    EXPECT_EQ(service().waitForEnd(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 8s);
    EXPECT_EQ(service().log().count("Failed destroy command to job: "), jobs.size());
    expectWholeSequence(service().log());
}

INSTANTIATE_TEST_SUITE_P(Number, HungJobsTest, ::testing::Values(1, 4, 24));

TEST_F(ShutdownTest, AServiceBesideAnotherOnTheSameRegistryLeavesItsJobsAlone) {
    startService();
    const auto job = startJob({.pipeline = endless});
    configureSections(
        "<Endpoints><RequestsEndpoint>ipc:///tmp/second</RequestsEndpoint>"
        "<EventsEndpoint>ipc:///tmp/second.events</EventsEndpoint></Endpoints>");
    Service second;
    ASSERT_TRUE(second.waitUntilServing());
    EXPECT_EQ(second.stop(), Ending::exited(0));
    EXPECT_TRUE(second.log().contains(
        "Another service keeps the registry: its 1 running job(s) are left alone"));
    EXPECT_EQ(job->status()->state(), proto::job_monitoring::JOB_STATE_PLAYING);
    EXPECT_TRUE(isListed(job->id()));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_TRUE(job->waitForEnd());
}

TEST_F(ShutdownTest, AJobThatIsHaltedCostsFiveSecondsAndCanBeStoppedWhenItGoesOn) {
    startService();
    const auto job = startJob({.pipeline = endless});
    const auto launchers = processesRunning("tarnWorkflowLauncher");
    ASSERT_FALSE(launchers.empty());
    for (const auto& launcher : launchers) {
        ::kill(launcher.id, SIGSTOP);
    }
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 8s);
    for (const auto& launcher : launchers) {
        ::kill(launcher.id, SIGCONT);
    }
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

// Interrupts after each further line of the start-up, until the service serves.
TEST_F(ShutdownTest, AnInterruptAtAnyMomentOfTheStartRunsTheSequence) {
    const auto lines = [this] {
        startService();
        const auto count = service().logLength();
        EXPECT_EQ(service().stop(), Ending::exited(0));
        return count;
    }();
    for (std::size_t line = 1; line <= lines; ++line) {
        Service starting;
        ASSERT_TRUE(starting.log().waitForCount(line));
        EXPECT_EQ(starting.stop(), Ending::exited(0)) << starting.log().text();
        expectWholeSequence(starting.log());
        ASSERT_FALSE(HasFailure()) << "interrupted after line " << line << "\n"
                                   << starting.log().text();
    }
}

TEST_F(ShutdownTest, AnInterruptRightAfterTheStartNeverHangsOrCutsTheSequenceShort) {
    for (int i = 0; i < 20; ++i) {
        Service starting;
        for (int n = 0; n < i; ++n) {
            std::this_thread::yield();
        }
        const auto ending = starting.stop();
        // Before the program's first step the signal has its default effect.
        if (ending == Ending::signalled(SIGINT)) {
            EXPECT_EQ(starting.log().text(), "");
        } else {
            EXPECT_EQ(ending, Ending::exited(0)) << starting.log().text();
            EXPECT_TRUE(starting.log().contains("Service terminated")) << starting.log().text();
        }
    }
}

// `delay` submissions are answered before the interrupt comes into the loop.
class SubmissionLoopTest : public ShutdownTest, public ::testing::WithParamInterface<int> {};

TEST_P(SubmissionLoopTest, IsEndedByAnInterruptWithNothingLeftRunning) {
    startService();
    std::atomic<int> answered = 0;
    std::jthread client([&](const std::stop_token& stop) {
        Api submitter;
        while (!stop.stop_requested()) {
            if (submitter.ask(submissionOf({.pipeline = endless}), 3s)) {
                ++answered;
            }
        }
    });
    EXPECT_TRUE(eventually([&] { return answered >= GetParam(); }));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    client.request_stop();
    client.join();
    expectWholeSequence(service().log());
}

INSTANTIATE_TEST_SUITE_P(Answered, SubmissionLoopTest, ::testing::Values(0, 1, 2, 3, 5, 8));

TEST_F(ShutdownTest, WithoutAResourceManagerTheServiceServesAndStops) {
    std::filesystem::create_directory("/tmp/taken");
    configureSections(
        "<Endpoints><ResourcesEndpoint>ipc:///tmp/taken</ResourcesEndpoint></Endpoints>");
    startService();
    EXPECT_TRUE(service().log().contains("Failed connecting ResourceManagerProxy: "));
    const auto jobs = api().jobs();
    ASSERT_TRUE(jobs);
    EXPECT_TRUE(jobs->empty());
    EXPECT_TRUE(service().waitForLog("Failed to get running jobs: "));
    constexpr auto notCleared = "ERROR Failed to clear dead processes: ";
    ASSERT_TRUE(service().waitForLog(notCleared));
    EXPECT_TRUE(
        service().waitForLogAfter(service().log().find(notCleared).value() + 1, notCleared));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    const auto failed = service().log().find("Failed disconnecting ResourceManagerProxy: ");
    ASSERT_TRUE(failed);
    EXPECT_TRUE(service().log().find("Resource manager proxy disconnected", *failed));
}

}  // namespace

}  // namespace tarn::test
