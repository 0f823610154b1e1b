#include "tests/system/FakeJob.h"

#include <stdexcept>

#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace job = proto::service_job;

namespace {

std::string launchLine(const Service& service, const std::string& label) {
    const auto line = service.log().waitFor("-l " + label + " -e ");
    if (!line) {
        throw std::runtime_error("no job was launched for " + label);
    }
    return *line;
}

std::string endpointIn(const std::string& command) {
    const auto begin = command.find("ipc://", command.find(" -e "));
    return command.substr(begin, command.find(' ', begin) - begin);
}

}  // namespace

std::string FakeJob::launcherSection() {
    const auto program = writeProgram("/tmp/does-nothing", "#!/bin/sh\nexit 0\n");
    return "<Paths><WorkflowLauncher>" + program + "</WorkflowLauncher></Paths>";
}

FakeJob::FakeJob(const Service& service, const std::string& label)
    : launchCommand(launchLine(service, label)) {
    socket.bind(endpointIn(launchCommand));
}

std::optional<job::ServiceToJobRequestSetup> FakeJob::takeSetup() {
    const auto frames = socket.receive(std::chrono::seconds(5));
    job::ServiceToJobRequest request;
    if (!frames || !request.ParseFromString(frames->back())) {
        return std::nullopt;
    }
    return request.GetExtension(job::ServiceToJobRequestSetup::base);
}

void FakeJob::answer(const job::JobToServiceReply& reply) {
    answerBytes(reply.SerializeAsString());
}

void FakeJob::answerBytes(const std::string& bytes) {
    socket.send({bytes});
}

}  // namespace tarn::test
