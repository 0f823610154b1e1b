// Another size for a track that nobody uses meanwhile.
#include <algorithm>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/ring/Track.h"
#include "peers/loop_storage/ring/TrackFiles.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t copiedAtOnce = 1U << 20U;

// The smallest size from `wanted` on that all frames fit into, as bytes and as slots.
std::uint64_t sizeFor(std::uint64_t wanted, const RingIndex& ring) {
    auto size = std::max(wanted, ring.extent());
    while (slotsFor(size) < ring.all().size()) {
        size += size / 16 + 1;
    }
    return size;
}

// Whether the frames may stay where they are.
bool liesWithin(const RingIndex& ring, std::uint64_t oldSize, std::uint64_t newSize) {
    return ring.empty() ||
           ring.oldest().position % oldSize + ring.extent() <= std::min(oldSize, newSize);
}

// By pieces: a frame may be larger than memory should hold at once.
void copyFrame(const TrackFiles& from, std::uint64_t fromSize, const FrameInfo& frame,
               const DiskFile& to, std::uint64_t position) {
    std::vector<char> bytes(std::min<std::size_t>(copiedAtOnce, frame.size));
    for (std::uint64_t done = 0; done < frame.size; done += bytes.size()) {
        const auto size =
            static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), frame.size - done));
        readRing(from.data, fromSize, frame.position + done, bytes.data(), size);
        to.writeAt(position + done, bytes.data(), size);
    }
}

}  // namespace

std::uint64_t Track::sizeReached(std::uint64_t wanted) const {
    const std::lock_guard lock(mutex);
    // One that cannot get smaller than it is stays as it is.
    return wanted < dataSize ? std::min(dataSize, sizeFor(wanted, *ring)) : wanted;
}

// A new index with the frames counted from the beginning of the data file; putting it in the old
// one's place is the one step that makes all of it true. Nobody but this thread changes the ring
// meanwhile, so reading it needs no lock.
std::uint64_t Track::resize(std::uint64_t wanted, const std::function<void()>& check) {
    {
        const std::lock_guard asLastOne(checkpointMutex);  // a clearing that began before
        const std::lock_guard lock(mutex);
        checkSound();
    }
    const auto reached = sizeReached(wanted);
    if (reached == dataSize) {
        return reached;
    }
    const bool inPlace = liesWithin(*ring, dataSize, reached);
    const auto content = resizedContent(reached, inPlace);
    const auto newIndex = indexPath().string() + ".new";
    try {
        prepareData(content, inPlace, check);
        std::filesystem::remove(newIndex);
        IndexFile::Write(newIndex, content);
    } catch (...) {
        std::filesystem::remove(newIndex);
        undoData(dataPath(content.track.generation), inPlace);
        throw;
    }
    // From the renaming on the new index is the track's, whatever becomes of the rest; the old data
    // stays until nothing can bring the old index back.
    std::filesystem::rename(newIndex, indexPath());
    take(content);
    onDisk([this] { syncFolder(trackFolder); });
    removeStrangeData();
    openFiles()->data.truncate(reached);
    return reached;
}

void Track::take(const IndexContent& content) {
    const std::lock_guard lock(mutex);
    dataSize = content.track.dataSize;
    slots = content.track.slots;
    generation = content.track.generation;
    checkpointCount = content.checkpoints + 1;
    ring.emplace(dataSize, slots);
    ring->restore(content.frames, content.nextSequence, content.limit, content.lost);
    allowedLimit = ring->limit();
    checkpointedSequence = content.nextSequence;
    lastMarking = Marking::Closed;
    hasFetched = hasFetched || !content.frames.empty();
}

IndexContent Track::resizedContent(std::uint64_t reached, bool inPlace) const {
    IndexContent content;
    content.track = {.dataSize = reached,
                     .slots = slotsFor(reached),
                     .id = static_cast<std::uint64_t>(trackId),
                     .generation = inPlace ? generation : generation + 1};
    content.nextSequence = ring->nextSequence();
    content.checkpoints = checkpointCount + 1;
    content.lost = ring->lost();
    if (ring->empty()) {
        return content;
    }
    const auto begin = ring->oldest().position;
    const auto offset = inPlace ? begin % dataSize : 0;
    for (auto frame : ring->all()) {
        frame.position = frame.position - begin + offset;
        content.frames.push_back(frame);
    }
    content.limit = content.frames.back().end();
    return content;
}

void Track::prepareData(const IndexContent& content, bool inPlace,
                        const std::function<void()>& check) const {
    const auto opened = openFiles();
    if (inPlace) {
        opened->data.allocate(content.track.dataSize, check);
        opened->data.sync();
        return;
    }
    const DiskFile data(dataPath(content.track.generation), DiskFile::Mode::CreateNew);
    data.allocate(content.track.dataSize, check);
    for (std::size_t i = 0; i < content.frames.size(); ++i) {
        check();
        copyFrame(*opened, dataSize, ring->all()[i], data, content.frames[i].position);
    }
    data.sync();
    syncFolder(trackFolder);
}

void Track::undoData(const std::filesystem::path& newData, bool inPlace) const {
    if (inPlace) {
        openFiles()->data.truncate(dataSize);
    } else {
        std::filesystem::remove(newData);
    }
}

}  // namespace tarn::peers::loop_storage
