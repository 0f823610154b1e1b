// Persistent jobs come back: what WorkflowCreator does with the files of their folder.
#include <boost/filesystem.hpp>
#include <stdexcept>

#include "platform/os/ClosedFile.h"
#include "platform/os/TrustedFile.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "proto/service_job.pb.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

namespace fs = boost::filesystem;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

// More than any message that a job was ever set up with, and less than what would hurt.
constexpr std::size_t fileLimit = 64 * 1024 * 1024;

WorkflowCreator::Properties propertiesOf(const ServiceToJobRequestSetup& setup) {
    WorkflowCreator::Properties properties;
    for (const auto& resource : setup.resources_to_reserve()) {
        auto& values = properties[resource.name()];
        values.insert(values.end(), resource.values().begin(), resource.values().end());
    }
    return properties;
}

// A file that a later service has written waits for the next one of its kind.
void refuseLaterVersion(const ServiceToJobRequestSetup& setup) {
    if (setup.version() > ServiceToJobRequestSetup::CURRENT) {
        throw std::runtime_error("it is of version " + std::to_string(setup.version()) +
                                 ", and this service takes " +
                                 std::to_string(ServiceToJobRequestSetup::CURRENT) + " at most");
    }
}

}  // namespace

void WorkflowCreator::regeneratePersistentJobs(const std::function<bool()>& breakOff) {
    const fs::path folder = dependencies.configuration.getPersistentJobsFolder();
    boost::system::error_code failure;
    if (!fs::is_directory(folder, failure)) {
        utils::logError(formatMessage(
            "Jobs folder path does not match an actual folder. No jobs will be restored."));
        return;
    }
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        if (breakOff && breakOff()) {
            return;
        }
        boost::system::error_code gone;
        if (fs::is_regular_file(entry->status(gone))) {
            os::closeToOthers(entry->path().string(),
                              os::privateFile);  // an older one's, or put there
            regeneratePersistentJob(entry->path().string());
        }
    }
    if (failure) {
        utils::logError(formatMessage("Failed reading folder " +
                                      utils::quotedText(folder.string()) + ": " +
                                      failure.message()));
    }
}

void WorkflowCreator::regeneratePersistentJob(const std::string& path) {
    utils::logInfo(formatMessage("Restoring persistent job in file: " + utils::printable(path)));
    try {
        // Who may write in the folder must not run what he likes as its owner.
        const auto content = os::readOurs(path, fileLimit);
        if (!content) {
            utils::logError(formatMessage("Failed opening file"));
            return;
        }
        ServiceToJobRequest request;
        if (!request.ParseFromString(*content)) {
            utils::logError(formatMessage("Failed deserializing message"));
            return;
        }
        const auto& setup = request.GetExtension(ServiceToJobRequestSetup::base);
        refuseLaterVersion(setup);
        recreate(setup, path);
    } catch (const std::exception& e) {
        utils::logError(formatMessage(std::string("Failed reading file: ") + e.what()));
    }
}

// The file may have been moved, or be anybody's: what it says of its own place is passed on, but
// the job is told where it really lies.
void WorkflowCreator::recreate(const ServiceToJobRequestSetup& stored, const std::string& file) {
    std::string ipcEndpoint;
    std::string firstJobEndpoint;
    std::string secondJobEndpoint;
    std::string error;
    if (!generateIpcEndpointString(ipcEndpoint, error) ||
        !generateNewEndpointString(firstJobEndpoint, error) ||
        !generateNewEndpointString(secondJobEndpoint, error)) {
        utils::logError(formatMessage("Cannot submit job: " + error));
        utils::logWarning(formatMessage(describePortUse()));
        return;
    }
    createWorkflow(ipcEndpoint, firstJobEndpoint, secondJobEndpoint, stored.job_description(),
                   propertiesOf(stored), stored.job_configuration(), stored.persistent_file_path(),
                   stored.persistent_job_name(), file, access::Owner(stored.owner()));
}

}  // namespace tarn::service
