#include "peers/loop_storage/disk/DiskFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "peers/loop_storage/disk/DiskOperations.h"
#include "platform/os/ClosedFile.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::uint64_t allocationStep = 1ULL << 30U;
constexpr std::uint64_t writtenStep = 4U << 20U;

[[noreturn]] void failAt(const std::filesystem::path& path, int error, const char* action) {
    throw std::system_error(error, std::generic_category(),
                            std::string("Cannot ") + action + " " + path.string());
}

int flagsFor(DiskFile::Mode mode) {
    if (mode == DiskFile::Mode::ReadOnly) {
        return O_RDONLY;
    }
    return mode == DiskFile::Mode::CreateNew ? O_RDWR | O_CREAT | O_EXCL : O_RDWR;
}

os::FileDescriptor openFile(const std::filesystem::path& path, int flags) {
    const int number = diskOperations().open(path.c_str(), flags | O_CLOEXEC, os::closedFile);
    if (number < 0) {
        failAt(path, errno, "open");
    }
    return os::FileDescriptor(number);
}

}  // namespace

DiskFile::DiskFile(std::filesystem::path path, Mode mode)
    : filePath(std::move(path)), descriptor(openFile(filePath, flagsFor(mode))) {}

void DiskFile::fail(int error, const char* action) const {
    failAt(filePath, error, action);
}

void DiskFile::writeAt(std::uint64_t offset, const void* bytes, std::size_t size) const {
    const auto* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const auto written =
            diskOperations().write(descriptor.get(), next, size, static_cast<off_t>(offset));
        if (written < 0 && errno != EINTR) {
            fail(errno, "write to");
        }
        const auto done = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        next += done;
        offset += done;
        size -= done;
    }
}

void DiskFile::readAt(std::uint64_t offset, void* bytes, std::size_t size) const {
    auto* next = static_cast<char*>(bytes);
    while (size > 0) {
        const auto got =
            diskOperations().read(descriptor.get(), next, size, static_cast<off_t>(offset));
        if (got == 0) {
            throw std::system_error(std::make_error_code(std::errc::io_error),
                                    filePath.string() + " is too short");
        }
        if (got < 0 && errno != EINTR) {
            fail(errno, "read from");
        }
        const auto done = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        next += done;
        offset += done;
        size -= done;
    }
}

bool DiskFile::readFromMemory(std::uint64_t offset, void* bytes, std::size_t size) const {
    return size == 0 || diskOperations().readFromMemory(descriptor.get(), bytes, size,
                                                        static_cast<off_t>(offset)) ==
                            static_cast<ssize_t>(size);
}

int DiskFile::AskFileSystem(int file, std::uint64_t offset, std::uint64_t length) {
    const int result =
        ::fallocate(file, /*mode=*/0, static_cast<off_t>(offset), static_cast<off_t>(length));
    return result == 0 ? 0 : errno;
}

void DiskFile::allocate(std::uint64_t size, const std::function<void()>& check,
                        TakeSpace takeSpace) const {
    for (auto offset = this->size(); offset < size;) {
        check();
        const auto step = std::min(size - offset, allocationStep);
        const int error = takeSpace(descriptor.get(), offset, step);
        if (error == EOPNOTSUPP) {
            writeZeros(offset, size, check);
            return;
        }
        if (error != 0 && error != EINTR) {
            fail(error, "get disk space for");
        }
        offset += error == 0 ? step : 0;
    }
}

// Which takes as long as the disk does: in steps that are not missed by who wants to stop it.
void DiskFile::writeZeros(std::uint64_t from, std::uint64_t to,
                          const std::function<void()>& check) const {
    const std::vector<char> zeros(std::min<std::uint64_t>(to - from, writtenStep));
    while (from < to) {
        check();
        const auto step = std::min<std::uint64_t>(to - from, zeros.size());
        writeAt(from, zeros.data(), static_cast<std::size_t>(step));
        from += step;
    }
}

void DiskFile::truncate(std::uint64_t size) const {
    if (::ftruncate(descriptor.get(), static_cast<off_t>(size)) != 0) {
        fail(errno, "shorten");
    }
}

void DiskFile::sync() const {
    if (diskOperations().syncData(descriptor.get()) != 0) {
        fail(errno, "sync");
    }
}

std::uint64_t DiskFile::size() const {
    struct stat info {};
    if (::fstat(descriptor.get(), &info) != 0) {
        fail(errno, "look at");
    }
    return static_cast<std::uint64_t>(info.st_size);
}

os::FileDescriptor DiskFile::openForReading() const {
    return openFile(filePath, O_RDONLY);
}

void syncFolder(const std::filesystem::path& folder) {
    const auto descriptor = openFile(folder, O_RDONLY | O_DIRECTORY);
    if (diskOperations().syncFolder(descriptor.get()) != 0) {
        failAt(folder, errno, "sync");
    }
}

std::string readSmallFile(const std::filesystem::path& path, std::size_t limit) {
    const DiskFile file(path, DiskFile::Mode::Existing);
    const auto size = file.size();
    if (size > limit) {
        failAt(path, EFBIG, "read");
    }
    std::string content(static_cast<std::size_t>(size), '\0');
    file.readAt(0, content.data(), content.size());
    return content;
}

void replaceFile(const std::filesystem::path& path, const std::string& content) {
    const auto temporary = path.string() + ".new";
    std::filesystem::remove(temporary);
    {
        const DiskFile file(temporary, DiskFile::Mode::CreateNew);
        file.writeAt(0, content.data(), content.size());
        file.sync();
    }
    std::filesystem::rename(temporary, path);
    syncFolder(path.parent_path());
}

}  // namespace tarn::peers::loop_storage
