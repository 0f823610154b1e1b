#include "peers/loop_storage/server/WriterRole.h"

#include <utility>

#include "peers/loop_storage/disk/DiskAccess.h"
#include "platform/storage_wire/MessageParser.h"

namespace tarn::peers::loop_storage {

WriterRole::WriterRole(std::shared_ptr<Attachment> attachment,
                       std::shared_ptr<const WriterMemory> memory)
    : attachment(std::move(attachment)), memory(std::move(memory)) {}

bool WriterRole::mustWaitFor(std::uint64_t size) const {
    return attachment->track().mustWaitToReserve(size);
}

void WriterRole::begun(const FrameInfo& place) {
    frame = place;
    written = 0;
    attachment->noteWriting();
}

void WriterRole::begin(std::int64_t timePoint, std::uint64_t size) {
    const DiskAccess access;
    begun(attachment->track().reserve(timePoint, size));
}

void WriterRole::write(std::string_view piece) {
    const DiskAccess access;
    attachment->track().write(frame, written, piece);
    written += piece.size();
}

void WriterRole::commit() {
    const DiskAccess access;
    attachment->track().commit(frame);
    attachment->noteWriting();
}

std::string_view WriterRole::at(std::uint64_t offset, std::uint64_t size) const {
    if (!memory) {
        throw storage_wire::WireError("The frame is said to lie in memory that is not shared");
    }
    return memory->at(offset, size);
}

}  // namespace tarn::peers::loop_storage
