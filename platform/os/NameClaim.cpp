#include "platform/os/NameClaim.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestReadablePart = 100;
constexpr int mostAttempts = 100;
constexpr int mostLeftFiles = 256;

// For people a part of the name, for the rest what tells it from every other.
std::string fileNameOf(std::string_view name) {
    std::string part(name.substr(0, longestReadablePart));
    std::replace_if(
        part.begin(), part.end(),
        [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '.'; }, '_');
    const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
    return part + "-" + boost::uuids::to_string(generator(name.data(), name.size()));
}

// The kernel gives a process that asks again what it has, and takes it away when the process closes
// any descriptor of the file: so each process knows what it holds, and touches no such file.
struct Holdings {
    std::mutex mutex;
    pid_t holder = 0;
    std::set<std::string> files;
    std::set<std::string> tidied;  // folders

    // A forked copy holds nothing.
    void forgetAnotherProcess() {
        if (holder != ::getpid()) {
            holder = ::getpid();
            files.clear();
            tidied.clear();
        }
    }
};

// Never destroyed: claims may be in static objects.
Holdings& holdings() {
    static auto& instance = *new Holdings;
    return instance;
}

// Root may use a folder of the services' user, who must be able to use what root leaves there.
void giveToOwnerOf(const std::string& folder, const FileDescriptor& file) {
    struct stat owned {};
    if (::geteuid() == 0 && ::stat(folder.c_str(), &owned) == 0 && owned.st_uid != 0) {
        // Where it fails, who cannot open the file says so.
        [[maybe_unused]] const int given = ::fchown(file.get(), owned.st_uid, owned.st_gid);
    }
}

FileDescriptor openFile(const std::string& path, int flags) {
    return FileDescriptor(
        ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, S_IRUSR | S_IWUSR));
}

// False when another process has it.
bool isLocked(const FileDescriptor& file, const std::string& path) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (::fcntl(file.get(), F_SETLK, &whole) == 0) {
        return true;
    }
    if (errno != EAGAIN && errno != EACCES) {
        throw std::system_error(errno, std::generic_category(), "cannot lock " + path);
    }
    return false;
}

// Who had it may have removed the file after it was opened here: then the lock is on nothing.
bool isStillAt(const std::string& path, const FileDescriptor& file) {
    struct stat opened {};
    struct stat there {};
    return ::fstat(file.get(), &opened) == 0 && ::lstat(path.c_str(), &there) == 0 &&
           opened.st_ino == there.st_ino && opened.st_dev == there.st_dev;
}

// Nothing when another process has it.
FileDescriptor lockFile(const std::string& folder, const std::string& path) {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        auto file = openFile(path, O_CREAT);
        if (!file.isOpen()) {
            throw std::system_error(errno, std::generic_category(), "cannot open " + path);
        }
        giveToOwnerOf(folder, file);
        if (!isLocked(file, path)) {
            return {};
        }
        if (isStillAt(path, file)) {
            return file;
        }
    }
    throw std::runtime_error("cannot lock " + path + ": others make and remove it all the time");
}

void removeIfLeft(const std::string& path) {
    const auto file = openFile(path, 0);
    if (file.isOpen() && isLocked(file, path) && isStillAt(path, file)) {
        ::unlink(path.c_str());
    }
}

// Processes that were killed leave their files, unlocked. The first claim of each process removes
// some of them.
void tidy(const std::string& folder, const std::set<std::string>& held) {
    std::error_code error;
    int looked = 0;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (++looked > mostLeftFiles) {
            break;
        }
        if (!held.contains(entry.path())) {
            removeIfLeft(entry.path());
        }
    }
}

}  // namespace

class NameClaim::Lock {
  public:
    Lock(std::string path, FileDescriptor file) : path(std::move(path)), file(std::move(file)) {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    ~Lock() {
        auto& all = holdings();
        const std::lock_guard guard(all.mutex);
        if (holder == ::getpid()) {
            if (isStillAt(path, file)) {
                ::unlink(path.c_str());
            }
            file.close();
            all.files.erase(path);
        }
    }

  private:
    const std::string path;
    const pid_t holder = ::getpid();
    FileDescriptor file;
};

NameClaim::NameClaim(std::unique_ptr<Lock> lock) : lock(std::move(lock)) {}
NameClaim::NameClaim(NameClaim&&) noexcept = default;
NameClaim& NameClaim::operator=(NameClaim&&) noexcept = default;
NameClaim::~NameClaim() = default;

std::optional<NameClaim> NameClaim::TryTake(std::string_view name, const std::string& folder) {
    const auto path = (fs::path(folder) / fileNameOf(name)).string();
    auto& all = holdings();
    const std::lock_guard lock(all.mutex);
    all.forgetAnotherProcess();
    if (all.files.contains(path)) {
        return std::nullopt;
    }
    if (all.tidied.insert(folder).second) {
        tidy(folder, all.files);
    }
    auto file = lockFile(folder, path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    all.files.insert(path);
    return NameClaim(std::make_unique<Lock>(path, std::move(file)));
}

}  // namespace tarn::os
