#include "peers/loop_storage/IndexFile.h"

#include <algorithm>
#include <utility>

#include "peers/loop_storage/IndexScan.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::uint64_t bytesPerSlot = 8192;
constexpr std::uint64_t fewestSlots = 1024;
constexpr std::uint64_t mostSlots = 2ULL << 20U;

FrameRecord recordOf(const FrameInfo& frame, std::uint64_t oldest) {
    return {.kind = FrameRecord::Kind::Frame, .frame = frame, .oldest = oldest};
}

}  // namespace

std::uint64_t slotsFor(std::uint64_t dataSize) {
    return std::clamp(dataSize / bytesPerSlot, fewestSlots, mostSlots);
}

void IndexFile::Write(const std::filesystem::path& path, const IndexContent& content) {
    const IndexFile index(DiskFile(path, DiskFile::Mode::CreateNew));
    const auto slots = content.track.slots;
    index.file.allocate(index_layout::slotOffset(slots), [] {});
    const auto track = encode(content.track);
    index.file.writeAt(index_layout::trackOffset, track.data(), track.size());
    index.file.writeAt(index_layout::trackCopyOffset, track.data(), track.size());
    for (std::uint64_t count = 0; count < 2; ++count) {
        index.put(LimitRecord{.count = count, .limit = content.limit});
        index.put(CheckpointRecord{.count = content.checkpoints + count,
                                   .nextSequence = content.nextSequence,
                                   .limit = content.limit,
                                   .boot = {}});
    }
    for (const auto& frame : content.frames) {
        index.put(recordOf(frame, content.frames.front().sequence), slots);
    }
    index.sync();
}

IndexFile::IndexFile(const std::filesystem::path& path)
    : IndexFile(DiskFile(path, DiskFile::Mode::Existing)) {}

IndexFile::IndexFile(DiskFile file) : file(std::move(file)) {}

IndexContent IndexFile::load(const BootId& boot) const {
    IndexScan scan(file);
    auto content = scan.read(boot);
    for (const auto slot : scan.slotsToBlank()) {
        const RecordBytes blank{};
        file.writeAt(index_layout::slotOffset(slot), blank.data(), blank.size());
    }
    if (!scan.slotsToBlank().empty()) {
        file.sync();
    }
    return content;
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
