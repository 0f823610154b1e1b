#include "peers/loop_storage/ring/index/IndexRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "platform/storage_wire/Checksum.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t checksumSize = 4;
constexpr std::size_t checkedSize = recordSize - checksumSize;

// The first number of a record: what it is, and above that the version of the format.
enum class Tag : std::uint64_t {
    Track = 0x4b43'4152'5453'4cULL,  // "LSTRACK"
    Frame = 0x454d'4152'4653'4cULL,
    Cleared = 0x5241'454c'4353'4cULL,
    Limit = 0x5449'4d49'4c53'4cULL,
    Checkpoint = 0x4b43'4548'4353'4cULL
};

constexpr unsigned versionShift = 56;
constexpr std::uint64_t tagMask = (std::uint64_t(1) << versionShift) - 1;

// The first one whose frames have checksums, and whose records say what is lost.
constexpr std::uint64_t versionWithChecksums = 2;

// How "nothing" is written where there may be a time point.
constexpr auto noTimePoint = std::numeric_limits<std::int64_t>::min();

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie");

class RecordWriter {
  public:
    explicit RecordWriter(Tag tag, std::uint64_t version = indexVersion) {
        put(static_cast<std::uint64_t>(tag) | (version << versionShift));
    }
    void put(std::uint64_t value) { put(&value, sizeof value); }
    void put(const std::optional<std::int64_t>& timePoint) {
        put(static_cast<std::uint64_t>(timePoint.value_or(noTimePoint)));
    }
    void put(const void* from, std::size_t size) {
        std::memcpy(bytes.data() + used, from, size);
        used += size;
    }
    RecordBytes finish() {
        const auto sum = storage_wire::checksum(bytes.data(), checkedSize);
        std::memcpy(bytes.data() + checkedSize, &sum, sizeof sum);
        return bytes;
    }

  private:
    RecordBytes bytes{};
    std::size_t used = 0;
};

class RecordReader {
  public:
    explicit RecordReader(const char* bytes) : next(bytes), begin(bytes) {
        const auto first = get();
        tag = first & tagMask;
        versionNumber = first >> versionShift;
    }
    /// Whole, of this kind and of a version that can be read.
    bool is(Tag kind) const { return is(kind, indexVersion); }
    bool is(Tag kind, std::uint64_t newest) const {
        return tag == static_cast<std::uint64_t>(kind) && versionNumber >= 1 &&
               versionNumber <= newest && isWhole();
    }
    std::uint64_t version() const { return versionNumber; }
    std::uint64_t get() {
        std::uint64_t value = 0;
        get(&value, sizeof value);
        return value;
    }
    std::optional<std::int64_t> getTimePoint() {
        const auto value = static_cast<std::int64_t>(get());
        return value == noTimePoint ? std::nullopt : std::optional(value);
    }
    void get(void* to, std::size_t size) {
        std::memcpy(to, next, size);
        next += size;
    }

  private:
    bool isWhole() const {
        std::uint32_t sum = 0;
        std::memcpy(&sum, begin + checkedSize, sizeof sum);
        return sum == storage_wire::checksum(begin, checkedSize);
    }

    const char* next;
    const char* const begin;
    std::uint64_t tag = 0;
    std::uint64_t versionNumber = 0;
};

}  // namespace

RecordBytes encode(const TrackRecord& record) {
    RecordWriter writer(Tag::Track);
    writer.put(record.dataSize);
    writer.put(record.slots);
    writer.put(record.id);
    writer.put(record.generation);
    return writer.finish();
}

// A frame that has no checksum is written as it was found.
RecordBytes encode(const FrameRecord& record) {
    const bool isFrame = record.kind == FrameRecord::Kind::Frame;
    const bool isOld = isFrame && !record.frame.checksum;
    RecordWriter writer(isFrame ? Tag::Frame : Tag::Cleared,
                        isOld ? versionWithChecksums - 1 : indexVersion);
    writer.put(record.frame.sequence);
    writer.put(static_cast<std::uint64_t>(record.frame.timePoint));
    writer.put(record.frame.position);
    writer.put(record.frame.size);
    writer.put(record.oldest);
    if (!isOld) {
        writer.put(record.lost);
        const auto sum = record.frame.checksum.value_or(0);
        writer.put(&sum, sizeof sum);
    }
    return writer.finish();
}

RecordBytes encode(const LimitRecord& record) {
    RecordWriter writer(Tag::Limit);
    writer.put(record.count);
    writer.put(record.limit);
    return writer.finish();
}

RecordBytes encode(const CheckpointRecord& record) {
    RecordWriter writer(Tag::Checkpoint);
    writer.put(record.count);
    writer.put(record.nextSequence);
    writer.put(record.limit);
    writer.put(record.boot.data(), record.boot.size());
    writer.put(record.lost);
    // There are far fewer slots.
    const auto frames = static_cast<std::uint32_t>(record.nextSequence -
                                                   record.oldest.value_or(record.nextSequence));
    writer.put(&frames, sizeof frames);
    return writer.finish();
}

std::optional<TrackRecord> decodeTrack(const char* bytes) {
    RecordReader reader(bytes);
    if (!reader.is(Tag::Track, std::numeric_limits<std::uint64_t>::max())) {
        return std::nullopt;
    }
    TrackRecord record;
    record.version = reader.version();
    record.dataSize = reader.get();
    record.slots = reader.get();
    record.id = reader.get();
    record.generation = reader.get();
    return record;
}

std::optional<FrameRecord> decodeFrame(const char* bytes) {
    RecordReader reader(bytes);
    const bool isFrame = reader.is(Tag::Frame);
    if (!isFrame && !reader.is(Tag::Cleared)) {
        return std::nullopt;
    }
    FrameRecord record;
    record.kind = isFrame ? FrameRecord::Kind::Frame : FrameRecord::Kind::Cleared;
    record.frame.sequence = reader.get();
    record.frame.timePoint = static_cast<std::int64_t>(reader.get());
    record.frame.position = reader.get();
    record.frame.size = reader.get();
    record.oldest = reader.get();
    if (reader.version() >= versionWithChecksums) {
        record.lost = reader.getTimePoint();
        std::uint32_t sum = 0;
        reader.get(&sum, sizeof sum);
        record.frame.checksum = isFrame ? std::optional(sum) : std::nullopt;
    }
    return record;
}

std::optional<LimitRecord> decodeLimit(const char* bytes) {
    RecordReader reader(bytes);
    if (!reader.is(Tag::Limit)) {
        return std::nullopt;
    }
    LimitRecord record;
    record.count = reader.get();
    record.limit = reader.get();
    return record;
}

std::optional<CheckpointRecord> decodeCheckpoint(const char* bytes) {
    RecordReader reader(bytes);
    if (!reader.is(Tag::Checkpoint)) {
        return std::nullopt;
    }
    CheckpointRecord record;
    record.count = reader.get();
    record.nextSequence = reader.get();
    record.limit = reader.get();
    reader.get(record.boot.data(), record.boot.size());
    if (reader.version() >= versionWithChecksums) {
        record.lost = reader.getTimePoint();
        std::uint32_t frames = 0;
        reader.get(&frames, sizeof frames);
        record.oldest = record.nextSequence - std::min<std::uint64_t>(frames, record.nextSequence);
    }
    return record;
}

bool isBlank(const char* bytes) {
    return std::all_of(bytes, bytes + recordSize, [](char byte) { return byte == 0; });
}

}  // namespace tarn::peers::loop_storage
