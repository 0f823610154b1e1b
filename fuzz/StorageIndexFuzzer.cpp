// A track's index file, whatever has happened to it: it is refused, or what it gives can be used.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "peers/loop_storage/ring/index/IndexFile.h"
#include "peers/loop_storage/ring/index/RingIndex.h"

namespace {

using namespace tarn::peers::loop_storage;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void use(const IndexContent& content) {
    RingIndex ring(content.track.dataSize, content.track.slots);
    ring.restore(content.frames, content.nextSequence, content.limit);
    const FrameInfo* before = nullptr;
    for (const auto& frame : ring.all()) {
        require(frame.size <= content.track.dataSize);
        require(before == nullptr ||
                (before->sequence < frame.sequence && before->timePoint < frame.timePoint));
        before = &frame;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int file = ::memfd_create("index", MFD_CLOEXEC);
    require(file >= 0 && ::write(file, data, size) == static_cast<ssize_t>(size));
    try {
        use(IndexFile("/proc/self/fd/" + std::to_string(file)).load(BootId{'b'}));
    } catch (const std::exception&) {
        // refused
    }
    ::close(file);
    return 0;
}
