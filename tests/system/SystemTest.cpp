#include "tests/system/SystemTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "tests/system/Eventually.h"
#include "tests/system/Processes.h"

namespace tarn::test {

namespace {

constexpr auto configurationFile = "/etc/TarnConfiguration.xml";
constexpr auto loggerConfiguration =
    "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config";

// Everything, and to where the test reads it.
constexpr auto logEverything = R"(
log4cplus.logger.halden-tarn-service=TRACE, console
log4cplus.additivity.halden-tarn-service=false
log4cplus.appender.console=log4cplus::ConsoleAppender
log4cplus.appender.console.logToStdErr=true
log4cplus.appender.console.ImmediateFlush=true
log4cplus.appender.console.layout=log4cplus::PatternLayout
log4cplus.appender.console.layout.ConversionPattern=%D{%H:%M:%S,%q} %-5p %m%n
)";

void write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<std::string> socketFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
        if (entry.is_socket()) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

}  // namespace

std::string writeProgram(const std::string& path, const std::string& text) {
    write(path, text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

SystemTest::SystemTest() {
    if (std::getenv("PRIVATE_NAMESPACE_ENTER") == nullptr) {
        throw std::runtime_error("run this through scripts/in-private-namespace --install");
    }
}

void SystemTest::SetUp() {
    write(loggerConfiguration, logEverything);
}

void SystemTest::configure(const std::string& text) const {
    write(configurationFile, text);
}

void SystemTest::configureSections(const std::string& sections) const {
    configure("<TarnHubConfig>\n" + sections + "\n</TarnHubConfig>\n");
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
