#include "peers/job_runtime/PipelineCheck.h"

#include <stdexcept>
#include <string>

#include "peers/job_runtime/InputWait.h"
#include "peers/job_runtime/PipelineProcess.h"
#include "peers/job_runtime/StopRequest.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

using tarn::proto::pipeline_control::PipelineReport;

namespace {

constexpr std::size_t maxReportText = 4096;

bool isReported(PipelineProcess& process, PipelineReport::Type wanted) {
    for (PipelineReport report; process.nextReport(report); report.Clear()) {
        if (report.type() == wanted) {
            return true;
        }
        if (report.type() == PipelineReport::WARNING) {
            logWarningOf(report);
        }
        if (report.type() == PipelineReport::FAILURE) {
            utils::logError(
                "Pipeline failed: " + utils::printable(report.message(), maxReportText) + " " +
                utils::printable(report.detail(), maxReportText));
            throw std::runtime_error(report.message());
        }
    }
    return false;
}

void checkGoingOn(PipelineProcess& process, std::chrono::steady_clock::time_point deadline,
                  StopRequest& stop) {
    if (const auto end = process.end()) {
        throw std::runtime_error("the pipeline process " + describe(*end));
    }
    if (stop.take() != StopRequest::Wish::None) {
        throw std::runtime_error("the job was told to end during its setup");
    }
    if (std::chrono::steady_clock::now() >= deadline) {
        throw std::runtime_error("the pipeline was not ready in time");
    }
}

}  // namespace

void logWarningOf(const PipelineReport& report) {
    utils::logWarning("Pipeline warning: " + utils::printable(report.message(), maxReportText) +
                      " " + utils::printable(report.detail(), maxReportText));
}

void waitForReport(PipelineProcess& process, PipelineReport::Type wanted,
                   std::chrono::steady_clock::time_point deadline, StopRequest& stop) {
    process.read();
    while (!isReported(process, wanted)) {
        checkGoingOn(process, deadline, stop);
        const auto [reports, output, exit] = process.descriptors();
        waitForInput({reports, output, exit, stop.signalDescriptor(), stop.wishDescriptor()},
                     deadline);
        process.read();
    }
}

}  // namespace tarn::peers
