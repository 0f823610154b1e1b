#include "peers/loop_storage/ring/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/storage_wire/MemorySharing.h"

namespace tarn::peers::loop_storage {

namespace {

void check(bool isDone, const char* action) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(),
                                std::string("Cannot ") + action + " shared memory");
    }
}

os::FileDescriptor makeFile(std::size_t size) {
    os::FileDescriptor file(::memfd_create("tarn-loop-storage", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    check(file.isOpen(), "make");
    check(::ftruncate(file.get(), static_cast<off_t>(size)) == 0, "make");
    return file;
}

char* map(const os::FileDescriptor& file, std::size_t size, int protection) {
    void* const address = ::mmap(nullptr, size, protection, MAP_SHARED, file.get(), 0);
    check(address != MAP_FAILED, "map");
    return static_cast<char*>(address);
}

storage_wire::LimitPage& limitPageIn(const SharedMemory& memory) {
    return *static_cast<storage_wire::LimitPage*>(static_cast<void*>(memory.begin()));
}

}  // namespace

SharedMemory::SharedMemory(std::size_t size, ClientMay right)
    : byteCount(size),
      file(makeFile(size)),
      bytes(map(file, size, right == ClientMay::Read ? PROT_READ | PROT_WRITE : PROT_READ)) {
    const int seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
    const int more = right == ClientMay::Read ? F_SEAL_FUTURE_WRITE : 0;
    if (::fcntl(file.get(), F_ADD_SEALS, seals | more) != 0) {
        const int error = errno;
        ::munmap(bytes, byteCount);
        throw std::system_error(error, std::generic_category(), "Cannot seal shared memory");
    }
}

SharedMemory::~SharedMemory() {
    ::munmap(bytes, byteCount);
}

SharedLimit::SharedLimit(std::uint64_t limit)
    : memory(storage_wire::limitPageSize, SharedMemory::ClientMay::Read) {
    raise(limit);
}

void SharedLimit::raise(std::uint64_t limit) {
    limitPageIn(memory).limit.store(limit);
    storage_wire::orderRingAndLimit();
}

}  // namespace tarn::peers::loop_storage
