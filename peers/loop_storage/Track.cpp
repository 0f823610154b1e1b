#include "peers/loop_storage/Track.h"

#include <algorithm>
#include <utility>

#include "peers/loop_storage/SharedMemory.h"
#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/TrackFiles.h"
#include "platform/utils/Printable.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto propertiesName = "properties";
constexpr auto damagedName = "properties.damaged";
constexpr auto indexName = "index";
constexpr auto dataPrefix = "data.";
// Until the next checkpoint a writer may go over this part of its ring, or as much as that.
constexpr std::uint64_t allowedPart = 4;
constexpr std::uint64_t leastAllowed = 1ULL << 20U;

}  // namespace

void Track::Create(const std::filesystem::path& folder, std::int64_t id, std::uint64_t size,
                   const std::function<void()>& check) {
    const DiskFile data(folder / (dataPrefix + std::string("0")), DiskFile::Mode::CreateNew);
    data.allocate(size, check);
    data.sync();
    IndexContent content;
    content.track = {.dataSize = size,
                     .slots = slotsFor(size),
                     .id = static_cast<std::uint64_t>(id),
                     .generation = 0};
    IndexFile::Write(folder / indexName, content);
    syncFolder(folder);
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

Track::~Track() = default;

std::filesystem::path Track::dataPath(std::uint64_t number) const {
    return trackFolder / (dataPrefix + std::to_string(number));
}

std::filesystem::path Track::indexPath() const {
    return trackFolder / indexName;
}

void Track::load() {
    auto content = IndexFile(indexPath()).load(boot);
    if (content.track.id != static_cast<std::uint64_t>(trackId)) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER, indexPath().string() + " is of track " +
                                                          std::to_string(content.track.id));
    }
    dataSize = content.track.dataSize;
    slots = content.track.slots;
    generation = content.track.generation;
    checkpointCount = content.checkpoints;
    removeStrangeData();
    mendData(content);
    ring.emplace(dataSize, slots);
    ring->restore(std::move(content.frames), content.nextSequence, content.limit);
    checkpointedSequence = 0;
    allowedLimit = ring->limit();
    openingNotes = std::move(content.notes);
}

// Left by a resize that did not come to its end.
void Track::removeStrangeData() const {
    std::vector<std::filesystem::path> strange;
    for (const auto& entry : std::filesystem::directory_iterator(trackFolder)) {
        const auto name = entry.path().filename().string();
        if ((name.starts_with(dataPrefix) && entry.path() != dataPath(generation)) ||
            name.ends_with(".new")) {
            strange.push_back(entry.path());
        }
    }
    for (const auto& path : strange) {
        std::filesystem::remove(path);
    }
}

void Track::mendData(IndexContent& content) const {
    const DiskFile data(dataPath(generation), DiskFile::Mode::Existing);
    const auto there = data.size();
    if (there > dataSize) {
        data.truncate(dataSize);
    }
    if (there >= dataSize) {
        return;
    }
    std::erase_if(content.frames, [&](const FrameInfo& frame) {
        const auto offset = frame.position % dataSize;
        return offset + frame.size > there;
    });
    content.notes.push_back(data.path().string() + " has been cut: frames at its end are lost");
    data.allocate(dataSize, [] {});
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
                            .errors = errors.count()};
    if (!ring->empty()) {
        description.oldest = ring->oldest().timePoint;
        description.newest = ring->newest().timePoint;
    }
    return description;
}

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
    const auto name = "Track " + std::to_string(trackId);
    if (use == Use::Exclusive) {
        throw StorageError(TARN_STORAGE_ERROR_IN_USE, name + " is being " + exclusivePurpose);
    }
    if (kind == WorkerKind::Writer && writers > 0) {
        throw StorageError(TARN_STORAGE_ERROR_IN_USE, name + " has a writer already");
    }
    use = Use::Attached;
    (kind == WorkerKind::Writer ? writers : readers) += 1;
    return files != nullptr;
}

std::shared_ptr<const void> Track::detach(WorkerKind kind) {
    const std::lock_guard lock(mutex);
    (kind == WorkerKind::Writer ? writers : readers) -= 1;
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

void Track::clear() {
    const auto open = errors.noting([this] { return putCleared(); });
    wakeReaders();
    if (hasWriter()) {
        checkpoint();  // or it would not count after a power cut
    } else {
        errors.noting([&] { open->index.sync(); });
    }
}

std::shared_ptr<TrackFiles> Track::putCleared() {
    const std::lock_guard oneAtATime(recordMutex);
    FrameRecord record{.kind = FrameRecord::Kind::Cleared, .frame = {}, .oldest = 0};
    {
        const std::lock_guard lock(mutex);
        if (use == Use::Exclusive) {
            throw StorageError(TARN_STORAGE_ERROR_IN_USE, "Track " + std::to_string(trackId) +
                                                              " is being " + exclusivePurpose);
        }
        record.frame.sequence = ring->nextSequence();
        record.frame.position = ring->limit();
        record.oldest = record.frame.sequence + 1;
    }
    auto open = currentFiles();
    open->index.put(record, slots);
    const std::lock_guard lock(mutex);
    ring->clear();
    return open;
}

bool Track::hasWriter() const {
    const std::lock_guard lock(mutex);
    return writers > 0;
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

bool Track::needsCheckpoint(Need need) const {
    const std::lock_guard lock(mutex);
    return isMarkedInUse &&
           (need == Need::Committed ? checkpointedSequence != ring->nextSequence()
                                    : ring->limit() + allowance() / 2 > allowedLimit);
}

void Track::checkpointIfNeeded(Need need) {
    if (!needsCheckpoint(need)) {
        return;
    }
    const std::lock_guard oneAtATime(checkpointMutex);
    if (needsCheckpoint(need)) {  // it may have been closed meanwhile
        checkpointAs(boot);
    }
}

void Track::checkpoint() {
    const std::lock_guard oneAtATime(checkpointMutex);
    checkpointAs(boot);
}

void Track::close() {
    const std::lock_guard oneAtATime(checkpointMutex);
    checkpointAs({});
}

// The data goes to the disk first, then what tells of it.
void Track::checkpointAs(const BootId& mark) {
    CheckpointRecord record;
    const auto open = currentFiles();
    {
        const std::lock_guard lock(mutex);
        record = {.count = checkpointCount + 1,
                  .nextSequence = ring->nextSequence(),
                  .limit = ring->limit() + (mark == BootId{} ? 0 : allowance()),
                  .boot = mark};
    }
    errors.noting([&] {
        open->data.sync();
        open->index.put(record);
        open->index.sync();
    });
    const std::lock_guard lock(mutex);
    checkpointCount = record.count;
    checkpointedSequence = record.nextSequence;
    allowedLimit = record.limit;
    isMarkedInUse = mark != BootId{};
}

std::uint64_t Track::allowance() const {
    return std::min(std::max(dataSize / allowedPart, leastAllowed), dataSize);
}

}  // namespace tarn::peers::loop_storage
