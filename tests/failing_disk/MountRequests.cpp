#include "tests/failing_disk/MountRequests.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace tarn::failing_disk {

namespace {

using Listing = std::vector<std::pair<std::string, Disk::Attributes>>;

constexpr std::uint64_t blockSize = 4096;
constexpr std::size_t longestName = 255;

MountedDisk& mounted(fuse_req_t request) {
    return *static_cast<MountedDisk*>(fuse_req_userdata(request));
}

Disk& disk(fuse_req_t request) {
    return mounted(request).disk;
}

// What throws is the answer.
template <typename Work>
void answer(fuse_req_t request, const Work& work) noexcept {
    try {
        work();
    } catch (const std::system_error& error) {
        fuse_reply_err(request, error.code().value());
    } catch (...) {
        fuse_reply_err(request, EIO);
    }
}

int meet(fuse_req_t request, const Faults::Access& access) {
    auto& faults = disk(request).faults();
    const auto effect = faults.meet(access);
    if (effect.delay.count() > 0) {
        faults.pause(effect.delay);
    }
    return effect.error;
}

void meetOrFail(fuse_req_t request, const Faults::Access& access) {
    if (const int error = meet(request, access)) {
        throw std::system_error(error, std::generic_category());
    }
}

void meetChange(fuse_req_t request, fuse_ino_t parent, const char* name) {
    const auto folder = disk(request).pathOf(parent);
    meetOrFail(request, {.operation = Operation::Change,
                         .path = folder.empty() ? name : folder + "/" + name});
}

struct stat statOf(const Disk::Attributes& attributes) {
    struct stat info {};
    const bool isFile = attributes.kind == Disk::Kind::File;
    info.st_ino = attributes.number;
    info.st_mode = isFile ? S_IFREG | 0644 : S_IFDIR | 0755;
    info.st_nlink = isFile ? 1 : 2;
    info.st_uid = ::getuid();
    info.st_gid = ::getgid();
    info.st_size = static_cast<off_t>(attributes.size);
    info.st_blksize = blockSize;
    info.st_blocks = static_cast<blkcnt_t>((attributes.size + blockSize - 1) / blockSize * 8);
    return info;
}

// The kernel holds it from then on, and asks again each time: nothing of it is ever out of date.
fuse_entry_param entryOf(fuse_req_t request, const Disk::Attributes& attributes) {
    disk(request).hold(attributes.number);
    fuse_entry_param entry{};
    entry.ino = attributes.number;
    entry.attr = statOf(attributes);
    return entry;
}

void lookUp(fuse_req_t request, fuse_ino_t parent, const char* name) {
    answer(request, [&] {
        const auto entry = entryOf(request, disk(request).find(parent, name));
        fuse_reply_entry(request, &entry);
    });
}

void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t times) {
    disk(request).release(number, times);
    fuse_reply_none(request);
}

void tellAttributes(fuse_req_t request, fuse_ino_t number) {
    const auto info = statOf(disk(request).attributes(number));
    fuse_reply_attr(request, &info, 0);
}

void getAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info*) {
    answer(request, [&] { tellAttributes(request, number); });
}

void setAttributes(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int which,
                   fuse_file_info*) {
    answer(request, [&] {
        if ((which & FUSE_SET_ATTR_SIZE) != 0) {
            meetOrFail(request,
                       {.operation = Operation::Change, .path = disk(request).pathOf(number)});
            disk(request).resize(number, static_cast<std::uint64_t>(wanted->st_size));
        }
        tellAttributes(request, number);
    });
}

void makeFolder(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t) {
    answer(request, [&] {
        meetChange(request, parent, name);
        const auto entry = entryOf(request, disk(request).make(parent, name, Disk::Kind::Folder));
        fuse_reply_entry(request, &entry);
    });
}

void removeAs(Disk::Kind kind, fuse_req_t request, fuse_ino_t parent, const char* name) {
    answer(request, [&] {
        meetChange(request, parent, name);
        disk(request).remove(parent, name, kind);
        fuse_reply_err(request, 0);
    });
}

void removeFile(fuse_req_t request, fuse_ino_t parent, const char* name) {
    removeAs(Disk::Kind::File, request, parent, name);
}

void removeFolder(fuse_req_t request, fuse_ino_t parent, const char* name) {
    removeAs(Disk::Kind::Folder, request, parent, name);
}

bool exists(const Disk& disk, NodeNumber folder, const char* name) {
    const auto entries = disk.list(folder);
    return std::any_of(entries.begin(), entries.end(),
                       [name](const auto& entry) { return entry.first == name; });
}

void renameWithin(fuse_req_t request, fuse_ino_t from, const char* name, fuse_ino_t to,
                  const char* newName, unsigned flags) {
    answer(request, [&] {
        if (from != to || (flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0) {
            throw std::system_error(from != to ? EXDEV : EINVAL, std::generic_category());
        }
        meetChange(request, to, newName);
        if (flags != 0 && exists(disk(request), to, newName)) {
            throw std::system_error(EEXIST, std::generic_category());
        }
        disk(request).rename(from, name, newName);
        fuse_reply_err(request, 0);
    });
}

void open(fuse_req_t request, fuse_ino_t number, fuse_file_info* file) {
    answer(request, [&] {
        file->direct_io = 1;
        if ((file->flags & O_TRUNC) != 0) {
            disk(request).resize(number, 0);
        }
        fuse_reply_open(request, file);
    });
}

void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t, fuse_file_info* file) {
    answer(request, [&] {
        meetChange(request, parent, name);
        const auto entry = entryOf(request, disk(request).make(parent, name, Disk::Kind::File));
        file->direct_io = 1;
        fuse_reply_create(request, &entry, file);
    });
}

void read(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info*) {
    answer(request, [&] {
        const auto at = static_cast<std::uint64_t>(offset);
        meetOrFail(request, {.operation = Operation::Read,
                             .path = disk(request).pathOf(number),
                             .offset = at,
                             .size = size});
        const auto bytes = disk(request).read(number, at, size);
        fuse_reply_buf(request, bytes.data(), bytes.size());
    });
}

void write(fuse_req_t request, fuse_ino_t number, const char* bytes, std::size_t size, off_t offset,
           fuse_file_info*) {
    answer(request, [&] {
        const auto at = static_cast<std::uint64_t>(offset);
        meetOrFail(request, {.operation = Operation::Write,
                             .path = disk(request).pathOf(number),
                             .offset = at,
                             .size = size});
        disk(request).write(number, at, {bytes, size});
        fuse_reply_write(request, size);
    });
}

void sync(fuse_req_t request, fuse_ino_t number, int, fuse_file_info*) {
    answer(request, [&] {
        const int error =
            meet(request, {.operation = Operation::Sync, .path = disk(request).pathOf(number)});
        if (error != 0) {
            disk(request).failSync(number, mounted(request).luck);
        } else {
            disk(request).sync(number);
        }
        fuse_reply_err(request, error);
    });
}

void reserve(fuse_req_t request, fuse_ino_t number, int mode, off_t offset, off_t length,
             fuse_file_info*) {
    answer(request, [&] {
        if (mode != 0) {
            throw std::system_error(EOPNOTSUPP, std::generic_category());
        }
        meetOrFail(request, {.operation = Operation::Change, .path = disk(request).pathOf(number)});
        const auto end = static_cast<std::uint64_t>(offset + length);
        if (end > disk(request).attributes(number).size) {
            disk(request).resize(number, end);
        }
        fuse_reply_err(request, 0);
    });
}

// As it is now, so that who removes what he finds misses nothing.
void openFolder(fuse_req_t request, fuse_ino_t number, fuse_file_info* folder) {
    answer(request, [&] {
        auto listing = std::make_unique<Listing>(disk(request).list(number));
        folder->fh = reinterpret_cast<std::uint64_t>(listing.get());
        if (fuse_reply_open(request, folder) == 0) {
            [[maybe_unused]] auto* const kept = listing.release();
        }
    });
}

Listing& listingOf(const fuse_file_info* folder) {
    return *reinterpret_cast<Listing*>(folder->fh);
}

void readFolder(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset,
                fuse_file_info* folder) {
    answer(request, [&] {
        const auto& listing = listingOf(folder);
        std::string buffer(size, '\0');
        std::size_t used = 0;
        for (auto next = static_cast<std::size_t>(offset); next < listing.size(); ++next) {
            const auto& [name, attributes] = listing[next];
            const auto info = statOf(attributes);
            const auto length =
                fuse_add_direntry(request, buffer.data() + used, size - used, name.c_str(), &info,
                                  static_cast<off_t>(next + 1));
            if (length > size - used) {
                break;
            }
            used += length;
        }
        fuse_reply_buf(request, buffer.data(), used);
    });
}

void closeFolder(fuse_req_t request, fuse_ino_t, fuse_file_info* folder) {
    const std::unique_ptr<Listing> ended(&listingOf(folder));
    fuse_reply_err(request, 0);
}

void tellSpace(fuse_req_t request, fuse_ino_t) {
    answer(request, [&] {
        struct statvfs space {};
        space.f_bsize = blockSize;
        space.f_frsize = blockSize;
        space.f_blocks = disk(request).size() / blockSize;
        space.f_bfree = disk(request).free() / blockSize;
        space.f_bavail = space.f_bfree;
        space.f_namemax = longestName;
        fuse_reply_statfs(request, &space);
    });
}

}  // namespace

fuse_lowlevel_ops mountRequests() {
    fuse_lowlevel_ops requests{};
    requests.lookup = lookUp;
    requests.forget = forget;
    requests.getattr = getAttributes;
    requests.setattr = setAttributes;
    requests.mkdir = makeFolder;
    requests.unlink = removeFile;
    requests.rmdir = removeFolder;
    requests.rename = renameWithin;
    requests.open = open;
    requests.create = create;
    requests.read = read;
    requests.write = write;
    requests.fsync = sync;
    requests.fsyncdir = sync;
    requests.fallocate = reserve;
    requests.opendir = openFolder;
    requests.readdir = readFolder;
    requests.releasedir = closeFolder;
    requests.statfs = tellSpace;
    return requests;
}

}  // namespace tarn::failing_disk
