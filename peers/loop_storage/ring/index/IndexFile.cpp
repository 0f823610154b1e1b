#include "peers/loop_storage/ring/index/IndexFile.h"

#include <algorithm>
#include <utility>

#include "peers/loop_storage/ring/index/IndexScan.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::uint64_t bytesPerSlot = 8192;
constexpr std::uint64_t fewestSlots = 1024;
constexpr std::uint64_t mostSlots = 2ULL << 20U;

}  // namespace

std::uint64_t slotsFor(std::uint64_t dataSize) {
    return std::clamp(dataSize / bytesPerSlot, fewestSlots, mostSlots);
}

void IndexFile::Write(const std::filesystem::path& path, const IndexContent& content) {
    const IndexFile index(DiskFile(path, DiskFile::Mode::CreateNew));
    const auto slots = content.track.slots;
    index.file.allocate(index_layout::slotOffset(slots), [] {});
    index.put(content.track);
    // Both of each kind: one that was left blank would read as damaged.
    for (std::uint64_t count = 0; count < 2; ++count) {
        index.put(LimitRecord{.count = count, .limit = content.limit});
        index.put(CheckpointRecord{.count = content.checkpoints + count,
                                   .nextSequence = content.nextSequence,
                                   .limit = content.limit,
                                   .oldest = content.frames.empty()
                                                 ? content.nextSequence
                                                 : content.frames.front().sequence,
                                   .boot = {},
                                   .lost = content.lost});
    }
    for (const auto& frame : content.frames) {
        index.put(FrameRecord{.kind = FrameRecord::Kind::Frame,
                              .frame = frame,
                              .oldest = content.frames.front().sequence,
                              .lost = content.lost},
                  slots);
    }
    index.sync();
}

IndexFile::IndexFile(const std::filesystem::path& path, DiskFile::Mode mode)
    : IndexFile(DiskFile(path, mode)) {}

IndexFile::IndexFile(DiskFile file) : file(std::move(file)) {}

IndexContent IndexFile::load(const BootId& boot) const {
    return IndexScan(file).read(boot);
}

void IndexFile::blank(std::uint64_t sequence, std::uint64_t slots) const {
    const RecordBytes blank{};
    file.writeAt(index_layout::slotOffset(sequence % slots), blank.data(), blank.size());
}

void IndexFile::put(const TrackRecord& record) const {
    const auto bytes = encode(record);
    file.writeAt(index_layout::trackOffset, bytes.data(), bytes.size());
    file.writeAt(index_layout::trackCopyOffset, bytes.data(), bytes.size());
}

void IndexFile::put(const FrameRecord& record, std::uint64_t slots) const {
    const auto bytes = encode(record);
    file.writeAt(index_layout::slotOffset(record.frame.sequence % slots), bytes.data(),
                 bytes.size());
}

void IndexFile::put(const LimitRecord& record) const {
    const auto bytes = encode(record);
    file.writeAt(index_layout::limitOffset(record.count), bytes.data(), bytes.size());
}

void IndexFile::put(const CheckpointRecord& record) const {
    const auto bytes = encode(record);
    file.writeAt(index_layout::checkpointOffset(record.count), bytes.data(), bytes.size());
}

}  // namespace tarn::peers::loop_storage
