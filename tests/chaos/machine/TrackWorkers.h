#pragma once

#include <poll.h>

#include <memory>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::chaos {

/// A hold on a track that ends with the pointer.
struct Detach {
    void operator()(tarn_storage_writer* writer) const { tarn_storage_writer_destroy(writer); }
    void operator()(tarn_storage_reader* reader) const { tarn_storage_reader_destroy(reader); }
};
using AttachedWriter = std::unique_ptr<tarn_storage_writer, Detach>;
using AttachedReader = std::unique_ptr<tarn_storage_reader, Detach>;

/// How long a worker lets a server be that is not there.
constexpr int untilAgainMs = 30;

inline void rest(int milliseconds) {
    ::poll(nullptr, 0, milliseconds);
}

}  // namespace tarn::chaos
