// What a launcher is told to become: a setup of a job or of an engine, and the file in which a job
// is kept, whatever lies there. A setup is refused with a reason, or names files and a log that
// stay where they belong; and what is kept of it brings back the same job.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/PrivateFolder.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "peers/engine_launcher/EngineSetup.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/persistence/SafeFileName.h"
#include "peers/workflow_launcher/WorkflowSetup.h"

namespace {

using namespace tarn::peers;
using tarn::fuzz::PrivateFolder;
using tarn::fuzz::require;
using tarn::fuzz::Setups;
using tarn::proto::service_job::ServiceToJobRequest;

std::optional<JobSetup> readBy(const SetupProtocol& protocol,
                               const google::protobuf::Message& request) {
    try {
        auto setup = protocol.read(request);
        require(protocol.makeReply({})->IsInitialized());
        return setup;
    } catch (const std::invalid_argument& refusal) {
        require(protocol.makeReply({.refusal = refusal.what(), .warning = {}})->IsInitialized());
        return std::nullopt;
    }
}

void checkLogName(const JobSetup& setup) {
    const auto name = safeFileName(setup.label);
    require(!name.empty() && name.front() != '.' && name.find('/') == std::string::npos);
}

void checkComesBack(const JobSetup& setup) {
    ServiceToJobRequest kept;
    require(kept.ParseFromString(setup.persistentContent));
    const auto again = readBy(WorkflowSetup(), kept);
    require(again.has_value());
    require(again->job.getJobDescription().getJobId() == setup.job.getJobDescription().getJobId());
    require(again->persistentFile == setup.persistentFile && !again->comesBack);
}

/// In a folder of this process, whatever path the input names.
void keep(JobSetup setup, const std::string& file) {
    static const PrivateFolder folder;
    setup.persistentFile = folder.write("job", file);
    Persistence persistence(setup);
    persistence.keep();
    require(persistence.isKept() == persistence.problem().empty());
    require(!persistence.isKept() || persistence.isStored());
    persistence.forget();
    require(!persistence.isStored());
    for (const auto& left : std::filesystem::recursive_directory_iterator(folder.path())) {
        require(left.path().filename() == "job" || left.is_directory());
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    Setups input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarn::fuzz::logIntoNothing();
    Setups input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    if (const auto engine = readBy(EngineSetup(), input.engine())) {
        checkLogName(*engine);
    }
    if (const auto job = readBy(WorkflowSetup(), input.job())) {
        checkLogName(*job);
        checkComesBack(*job);
        keep(*job, input.file());
    }
    return 0;
}
