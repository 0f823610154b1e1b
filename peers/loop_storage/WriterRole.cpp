#include "peers/loop_storage/WriterRole.h"

#include <utility>

namespace tarn::peers::loop_storage {

WriterRole::WriterRole(std::shared_ptr<Attachment> attachment)
    : attachment(std::move(attachment)) {}

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

}  // namespace tarn::peers::loop_storage
