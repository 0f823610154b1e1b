#include "tests/system/harness/SystemTest.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/harness/Processes.h"

namespace tarn::test {

namespace {

bool someJobsLogContains(const std::string& text) {
    std::error_code none;  // there may be no folder yet
    for (const auto& file :
         std::filesystem::directory_iterator("/var/log/halden-tarn/jobs", none)) {
        if (readFile(file.path()).find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

SystemTest::SystemTest() {
    if (std::getenv("PRIVATE_NAMESPACE_ENTER") == nullptr) {
        throw std::runtime_error("run this through scripts/in-private-namespace --install");
    }
}

void SystemTest::SetUp() {
    removeConfiguration();  // of a test before this one: a machine has one configuration file
    logEverything();
}

bool SystemTest::waitForRefusal(const std::string& reason) {
    const auto line = "Job setup failed: " + reason;
    return eventually([&] { return service().log().contains(line) || someJobsLogContains(line); });
}

void SystemTest::configure(const std::string& text) const {
    writeConfiguration(text);
}

void SystemTest::configureSections(const std::string& sections) const {
    writeConfigurationSections(sections);
}

Service& SystemTest::launchService() {
    services.push_back(std::make_unique<Service>());
    return *services.back();
}

Service& SystemTest::startService() {
    auto& started = launchService();
    if (!started.waitUntilServing()) {
        throw std::runtime_error("the service does not serve");
    }
    return started;
}

Service& SystemTest::service() {
    return *services.at(services.size() - 1);
}

Api& SystemTest::api() {
    if (!client) {
        client = std::make_unique<Api>();
    }
    return *client;
}

std::unique_ptr<Job> SystemTest::startJob(const JobOrder& order) {
    const auto address = api().submit(order);
    if (!address) {
        throw std::runtime_error("the submission was not answered");
    }
    auto job = std::make_unique<Job>(*address);
    if (!job->waitUntilPlaying()) {
        throw std::runtime_error("the job does not play");
    }
    return job;
}

bool SystemTest::isListed(const std::string& id) {
    const auto list = api().jobs();
    return list && std::any_of(list->begin(), list->end(),
                               [&](const JobAddress& job) { return job.id == id; });
}

void SystemTest::expectNothingIsLeft() {
    EXPECT_TRUE(eventually([] { return otherProcesses().empty(); })) << "left running:\n"
                                                                     << describe(otherProcesses());
    EXPECT_TRUE(eventually([] { return socketFiles().empty(); }))
        << "left in /tmp: " << ::testing::PrintToString(socketFiles());
}

void SystemTest::TearDown() {
    if (!services.empty() && service().isRunning()) {
        EXPECT_EQ(service().stop(), Ending::exited(0));
        EXPECT_TRUE(service().log().contains("Service terminated"));
    }
    client.reset();
    expectNothingIsLeft();
    if (HasFailure()) {
        for (const auto& run : services) {
            std::cerr << "---- log of service " << run->id() << "\n" << run->log().text();
        }
    }
}

}  // namespace tarn::test
