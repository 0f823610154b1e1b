#include "peers/loop_storage/IndexRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "peers/loop_storage/Checksum.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t checksumSize = 4;
constexpr std::size_t checkedSize = recordSize - checksumSize;

// The first number of a record: what it is, and the version of the format.
enum class Tag : std::uint64_t {
    Track = 0x01'4b43'4152'5453'4cULL,  // "LSTRACK" and the version
    Frame = 0x01'454d'4152'4653'4cULL,
    Cleared = 0x01'5241'454c'4353'4cULL,
    Limit = 0x01'5449'4d49'4c53'4cULL,
    Checkpoint = 0x01'4b43'4548'4353'4cULL
};

std::uint64_t number(Tag tag) {
    return static_cast<std::uint64_t>(tag);
}

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie");

class Writer {
  public:
    explicit Writer(Tag tag) { put(number(tag)); }
    void put(std::uint64_t value) { put(&value, sizeof value); }
    void put(const void* from, std::size_t size) {
        std::memcpy(bytes.data() + used, from, size);
        used += size;
    }
    RecordBytes finish() {
        const auto sum = checksum(bytes.data(), checkedSize);
        std::memcpy(bytes.data() + checkedSize, &sum, sizeof sum);
        return bytes;
    }

  private:
    RecordBytes bytes{};
    std::size_t used = 0;
};

class Reader {
  public:
    explicit Reader(const char* bytes) : next(bytes), begin(bytes) {}
    std::uint64_t get() {
        std::uint64_t value = 0;
        get(&value, sizeof value);
        return value;
    }
    void get(void* to, std::size_t size) {
        std::memcpy(to, next, size);
        next += size;
    }
    bool isWhole() const {
        std::uint32_t sum = 0;
        std::memcpy(&sum, begin + checkedSize, sizeof sum);
        return sum == checksum(begin, checkedSize);
    }

  private:
    const char* next;
    const char* const begin;
};

}  // namespace

RecordBytes encode(const TrackRecord& record) {
    Writer writer(Tag::Track);
    writer.put(record.dataSize);
    writer.put(record.slots);
    writer.put(record.id);
    writer.put(record.generation);
    return writer.finish();
}

RecordBytes encode(const FrameRecord& record) {
    Writer writer(record.kind == FrameRecord::Kind::Frame ? Tag::Frame : Tag::Cleared);
    writer.put(record.frame.sequence);
    writer.put(static_cast<std::uint64_t>(record.frame.timePoint));
    writer.put(record.frame.position);
    writer.put(record.frame.size);
    writer.put(record.oldest);
    return writer.finish();
}

RecordBytes encode(const LimitRecord& record) {
    Writer writer(Tag::Limit);
    writer.put(record.count);
    writer.put(record.limit);
    return writer.finish();
}

RecordBytes encode(const CheckpointRecord& record) {
    Writer writer(Tag::Checkpoint);
    writer.put(record.count);
    writer.put(record.nextSequence);
    writer.put(record.limit);
    writer.put(record.boot.data(), record.boot.size());
    return writer.finish();
}

std::optional<TrackRecord> decodeTrack(const char* bytes) {
    Reader reader(bytes);
    if (reader.get() != number(Tag::Track) || !reader.isWhole()) {
        return std::nullopt;
    }
    TrackRecord record;
    record.dataSize = reader.get();
    record.slots = reader.get();
    record.id = reader.get();
    record.generation = reader.get();
    return record;
}

std::optional<FrameRecord> decodeFrame(const char* bytes) {
    Reader reader(bytes);
    const auto tag = reader.get();
    const bool isFrame = tag == number(Tag::Frame);
    if ((!isFrame && tag != number(Tag::Cleared)) || !reader.isWhole()) {
        return std::nullopt;
    }
    FrameRecord record;
    record.kind = isFrame ? FrameRecord::Kind::Frame : FrameRecord::Kind::Cleared;
    record.frame.sequence = reader.get();
    record.frame.timePoint = static_cast<std::int64_t>(reader.get());
    record.frame.position = reader.get();
    record.frame.size = reader.get();
    record.oldest = reader.get();
    return record;
}

std::optional<LimitRecord> decodeLimit(const char* bytes) {
    Reader reader(bytes);
    if (reader.get() != number(Tag::Limit) || !reader.isWhole()) {
        return std::nullopt;
    }
    LimitRecord record;
    record.count = reader.get();
    record.limit = reader.get();
    return record;
}

std::optional<CheckpointRecord> decodeCheckpoint(const char* bytes) {
    Reader reader(bytes);
    if (reader.get() != number(Tag::Checkpoint) || !reader.isWhole()) {
        return std::nullopt;
    }
    CheckpointRecord record;
    record.count = reader.get();
    record.nextSequence = reader.get();
    record.limit = reader.get();
    reader.get(record.boot.data(), record.boot.size());
    return record;
}

bool isBlank(const char* bytes) {
    return std::all_of(bytes, bytes + recordSize, [](char byte) { return byte == 0; });
}

}  // namespace tarn::peers::loop_storage
