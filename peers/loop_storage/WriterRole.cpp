#include "peers/loop_storage/WriterRole.h"

#include <utility>

#include "platform/storage_wire/MessageParser.h"

namespace tarn::peers::loop_storage {

WriterRole::WriterRole(std::shared_ptr<Attachment> attachment,
                       std::shared_ptr<const WriterMemory> memory)
    : attachment(std::move(attachment)), memory(std::move(memory)) {}

void WriterRole::begin(std::int64_t timePoint, std::uint64_t size) {
    frame = attachment->track().reserve(timePoint, size);
    written = 0;
}

void WriterRole::write(std::string_view piece) {
    attachment->track().write(frame, written, piece);
    written += piece.size();
}

void WriterRole::commit() {
    attachment->track().commit(frame);
}

void WriterRole::take(std::int64_t timePoint, std::uint64_t offset, std::uint64_t size,
                      std::optional<std::uint32_t> checksum) {
    if (!memory) {
        throw storage_wire::WireError("The frame is said to lie in memory that is not shared");
    }
    const auto bytes = memory->at(offset, size);
    begin(timePoint, size);
    giveChecksum(checksum);
    write(bytes);
    commit();
}

}  // namespace tarn::peers::loop_storage
