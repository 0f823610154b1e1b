#include "peers/loop_storage/ring/Track.h"

#include <algorithm>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/SharedMemory.h"
#include "peers/loop_storage/ring/TrackFiles.h"
#include "platform/utils/Printable.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto propertiesName = "properties";
constexpr auto damagedName = "properties.damaged";
constexpr auto indexName = "index";
constexpr auto failureName = "failed";

}  // namespace

// The data file is synced after the index: with the one, a file system that keeps a journal has
// brought the other to the disk too.
IndexContent Track::Create(const std::filesystem::path& folder, std::int64_t id, std::uint64_t size,
                           const std::function<void()>& check) {
    const DiskFile data(folder / (std::string(dataPrefix) + "0"), DiskFile::Mode::CreateNew);
    data.allocate(size, check);
    IndexContent content;
    content.track = {.dataSize = size,
                     .slots = slotsFor(size),
                     .id = static_cast<std::uint64_t>(id),
                     .generation = 0};
    IndexFile::Write(folder / indexName, content);
    data.sync();
    syncFolder(folder);
    return content;
}

Track::Track(std::filesystem::path folder, std::int64_t id, const BootId& boot)
    : trackFolder(std::move(folder)), trackId(id), boot(boot), errors(id) {
    load();
    try {
        properties = readProperties(trackFolder / propertiesName);
    } catch (const StorageError& error) {
        openingNotes.push_back(error.what() + std::string(": put aside as ") + damagedName);
        std::filesystem::rename(trackFolder / propertiesName, trackFolder / damagedName);
    }
}

Track::Track(std::filesystem::path folder, std::int64_t id, const BootId& boot,
             const IndexContent& created)
    : trackFolder(std::move(folder)), trackId(id), boot(boot), errors(id) {
    take(created);
}

Track::~Track() = default;

std::filesystem::path Track::dataPath(std::uint64_t number) const {
    return trackFolder / (dataPrefix + std::to_string(number));
}

std::filesystem::path Track::indexPath() const {
    return trackFolder / indexName;
}

std::filesystem::path Track::failurePath() const {
    return trackFolder / failureName;
}

std::uint64_t Track::size() const {
    const std::lock_guard lock(mutex);
    return dataSize;
}

Track::Description Track::describe() const {
    const std::lock_guard lock(mutex);
    Description description{.size = dataSize,
                            .oldest = {},
                            .newest = {},
                            .properties = properties,
                            .failure = failure,
                            .damagedFrames = damagedFrames,
                            .errors = errors.count()};
    if (!ring->empty()) {
        description.oldest = ring->oldest().timePoint;
        description.newest = ring->newest().timePoint;
    }
    return description;
}

void Track::checkNotExclusive() const {
    if (use == Use::Exclusive) {
        throw StorageError(TARN_STORAGE_ERROR_IN_USE,
                           "Track " + std::to_string(trackId) + " is being " + exclusivePurpose);
    }
}

// Files are opened without the mutex, as that may wait for the disk; two who come at once both
// open, and one of the two is thrown away.
void Track::attach(WorkerKind kind) {
    if (countIn(kind)) {
        return;
    }
    try {
        auto opened = errors.noting([this] { return openFiles(); });
        const std::lock_guard lock(mutex);
        if (!files) {
            files = std::move(opened);
        }
    } catch (...) {
        detach(kind);
        throw;
    }
}

// Whether the files are open already. Whoever is counted in keeps the track as it is.
bool Track::countIn(WorkerKind kind) {
    const std::lock_guard lock(mutex);
    checkNotExclusive();
    if (kind == WorkerKind::Writer && writers > 0) {
        throw StorageError(TARN_STORAGE_ERROR_IN_USE,
                           "Track " + std::to_string(trackId) + " has a writer already");
    }
    if (kind == WorkerKind::Writer) {
        checkSound();
    }
    use = Use::Attached;
    marking = kind == WorkerKind::Writer ? Marking::InUse : marking;
    (kind == WorkerKind::Writer ? writers : readers) += 1;
    return files != nullptr;
}

// The files are handed out to be closed by the caller, without the mutex.
std::shared_ptr<const void> Track::detach(WorkerKind kind) {
    const std::lock_guard lock(mutex);
    (kind == WorkerKind::Writer ? writers : readers) -= 1;
    if (kind == WorkerKind::Writer) {
        marking = Marking::Closed;
        writerState = WriterState::Good;
    }
    if (readers + writers > 0) {
        return nullptr;
    }
    use = Use::Idle;
    sharedLimit.reset();
    return std::exchange(files, nullptr);
}

void Track::beginExclusive(const char* purpose) {
    const std::lock_guard noRecords(recordMutex);
    const std::lock_guard lock(mutex);
    if (use != Use::Idle) {
        const auto now = use == Use::Exclusive
                             ? std::string(" while it is being ") + exclusivePurpose
                             : " while " + std::to_string(readers + writers) + " workers use it";
        throw StorageError(TARN_STORAGE_ERROR_IN_USE,
                           "Track " + std::to_string(trackId) + " cannot be " + purpose + now);
    }
    use = Use::Exclusive;
    exclusivePurpose = purpose;
}

void Track::endExclusive() {
    const std::lock_guard lock(mutex);
    use = Use::Idle;
}

std::shared_ptr<TrackFiles> Track::openFiles() const {
    return std::make_shared<TrackFiles>(dataPath(generation), indexPath());
}

std::shared_ptr<TrackFiles> Track::currentFiles() const {
    {
        const std::lock_guard lock(mutex);
        if (files) {
            return files;
        }
    }
    return openFiles();
}

void Track::setProperties(const Properties& changes) {
    changeProperties([&](Properties& changed) {
        for (const auto& [name, value] : changes) {
            changed[name] = value;
        }
        checkProperties(changed);
    });
}

void Track::removeProperties(const std::vector<std::string>& names) {
    changeProperties([&](Properties& changed) {
        for (const auto& name : names) {
            if (changed.erase(name) == 0) {
                throw StorageError(TARN_STORAGE_ERROR_NOT_FOUND,
                                   "Track " + std::to_string(trackId) + " has no property " +
                                       utils::quotedText(name));
            }
        }
    });
}

void Track::changeProperties(const std::function<void(Properties&)>& change) {
    const std::lock_guard oneAtATime(propertiesMutex);
    auto changed = describe().properties;
    change(changed);
    errors.noting([&] { writeProperties(trackFolder / propertiesName, changed); });
    const std::lock_guard lock(mutex);
    properties = std::move(changed);
}

}  // namespace tarn::peers::loop_storage
