#include "peers/job_runtime/persistence/Persistence.h"

#include <climits>
#include <exception>
#include <filesystem>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/persistence/PersistentFile.h"
#include "peers/job_runtime/persistence/SafeFileName.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"
#include "platform/utils/Utf8.h"
#include "proto/service_job.pb.h"

namespace tarn::peers {

namespace {

using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

const std::string& idOf(const JobSetup& setup) {
    return setup.job.getJobDescription().getJobId();
}

/// The job that the file would bring back; empty when it would bring back none.
std::string jobIn(const PersistentFile& file) {
    ServiceToJobRequest request;
    if (!request.ParseFromString(file.read())) {
        return {};
    }
    return request.GetExtension(ServiceToJobRequestSetup::base).job_description().job_id();
}

/// The path with `suffix` at its end, as long as a file name may be.
std::string besides(const std::filesystem::path& path, const std::string& suffix) {
    const auto name = path.filename().string();
    const auto kept = utils::utf8Prefix(name, NAME_MAX - suffix.size());
    return (path.parent_path() / (std::string(kept) + suffix)).string();
}

bool wasNamedByTheClient(const JobSetup& setup) {
    ServiceToJobRequest request;
    request.ParsePartialFromString(setup.persistentContent);
    return !request.GetExtension(ServiceToJobRequestSetup::base).persistent_job_name().empty();
}

/// Of which no other job makes its file ready, whatever the file's name.
std::string draftOf(const JobSetup& setup) {
    return std::string(utils::utf8Prefix(safeFileName(idOf(setup)), NAME_MAX));
}

}  // namespace

Persistence::Persistence(const JobSetup& jobSetup) : setup(jobSetup) {
    if (setup.persistentFile.empty()) {
        return;
    }
    try {
        open(*guarded.lock());
    } catch (const std::exception& e) {
        lose(*guarded.lock(), e.what());
    }
}

Persistence::~Persistence() = default;

// A name that is made of the time and the job's name may be that of another job, whose file is left
// alone; one that the client chose is meant.
void Persistence::open(Guarded& opened) const {
    opened.content = setup.persistentContent;
    opened.file = std::make_unique<PersistentFile>(setup.persistentFile, draftOf(setup));
    const auto owner = jobIn(*opened.file);
    if (owner == idOf(setup)) {
        opened.state = State::Kept;
    } else if (!owner.empty() && !wasNamedByTheClient(setup)) {
        useOwnName(opened);
    }
}

void Persistence::useOwnName(Guarded& opened) const {
    const auto path = besides(setup.persistentFile, "_" + safeFileName(idOf(setup)));
    utils::logInfo("The persistent file is that of another job: using " + utils::printable(path));
    ServiceToJobRequest request;
    request.ParsePartialFromString(setup.persistentContent);
    request.MutableExtension(ServiceToJobRequestSetup::base)->set_persistent_file_path(path);
    opened.content = request.SerializePartialAsString();
    opened.file = std::make_unique<PersistentFile>(path, draftOf(setup));
}

// Another job with the same name may have been submitted in the same second, and have been faster.
void Persistence::write(Guarded& kept) const {
    const bool isMeant = kept.state == State::Kept || wasNamedByTheClient(setup);
    if (!isMeant) {
        if (kept.file->create(kept.content)) {
            return;
        }
        if (!mayBeOurs(*kept.file)) {
            useOwnName(kept);
        }
    }
    kept.file->write(kept.content);
}

void Persistence::keep() {
    auto locked = guarded.lock();
    if (!locked->file || locked->state == State::Forgotten) {
        return;
    }
    try {
        write(*locked);
        locked->state = State::Kept;
    } catch (const std::exception& e) {
        if (locked->state == State::Kept) {
            utils::logError(std::string("The persistent file stays as it was: ") + e.what());
        } else {
            lose(*locked, e.what());
        }
    }
}

void Persistence::lose(Guarded& lost, const std::string& reason) {
    lost.problem = reason;
    utils::logError("This job is not persistent: " + reason);
}

void Persistence::forget() {
    auto locked = guarded.lock();
    // By now it may be that of another job, to which the client gave the same name.
    if (locked->file && mayBeOurs(*locked->file)) {
        locked->file->remove();
    }
    locked->state = State::Forgotten;
}

bool Persistence::mayBeOurs(const PersistentFile& file) const {
    const auto owner = jobIn(file);
    return owner.empty() || owner == idOf(setup);
}

bool Persistence::isKept() {
    return guarded.lock()->state == State::Kept;
}

std::string Persistence::problem() {
    return guarded.lock()->problem;
}

bool Persistence::isStored() {
    auto locked = guarded.lock();
    return locked->file && jobIn(*locked->file) == idOf(setup);
}

}  // namespace tarn::peers
