#include "peers/ingest_service/RunRecord.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "peers/ingest_service/channel/SharedMemory.h"
#include "platform/os/Deadline.h"
#include "platform/os/ProcessIdentity.h"
#include "platform/os/UserName.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/utils/Log.h"

namespace tarn::peers::ingest_service {

namespace {

using os::ProcessIdentity;

constexpr std::chrono::seconds endingTime{3};
constexpr std::size_t largestRecord = 65536;

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

[[noreturn]] void failTaken(const std::string& path, uid_t owner) {
    throw std::runtime_error(path + " is in the way; it belongs to " + os::describeUser(owner) +
                             ": remove it, as that user or as root");
}

os::FileDescriptor openOwn(const std::string& path) {
    struct stat facts {};
    // The system may refuse what another user has made in a folder like /tmp, and not say whose.
    if (::lstat(path.c_str(), &facts) == 0 && facts.st_uid != ::geteuid()) {
        failTaken(path, facts.st_uid);
    }
    auto file = os::checkedDescriptor(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600), path.c_str());
    check(::fstat(file.get(), &facts) == 0, path);
    if (!S_ISREG(facts.st_mode) || facts.st_uid != ::geteuid()) {
        failTaken(path, facts.st_uid);
    }
    return file;
}

void lock(const os::FileDescriptor& file, const std::string& path) {
    constexpr int betweenTriesMs = 20;
    const os::Deadline deadline(endingTime);
    while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        check(errno == EWOULDBLOCK || errno == EINTR, path);
        if (deadline.hasPassed()) {
            throw std::runtime_error("another one is running: it holds " + path);
        }
        ::poll(nullptr, 0, betweenTriesMs);
    }
}

std::string contentOf(const os::FileDescriptor& file) {
    std::string content(largestRecord, '\0');
    const auto length = ::pread(file.get(), content.data(), content.size(), 0);
    content.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return content;
}

}  // namespace

RunRecord::RunRecord(std::string given) : prefix(std::move(given)), path(prefix + ".run") {
    takeOver();
    removeLeftovers(contentOf(file));
    note({});
}

// The one who ends removes the file: whoever waited for its lock then has a file without a name.
void RunRecord::takeOver() {
    do {
        file = openOwn(path);
        lock(file, path);
    } while (!isStillInPlace());
}

bool RunRecord::isStillInPlace() const {
    struct stat opened {};
    struct stat named {};
    check(::fstat(file.get(), &opened) == 0, path);
    return ::lstat(path.c_str(), &named) == 0 && named.st_ino == opened.st_ino &&
           named.st_dev == opened.st_dev;
}

RunRecord::~RunRecord() {
    ::unlink(path.c_str());
}

std::string RunRecord::socketPath(unsigned channel) const {
    return prefix + "-channel-" + std::to_string(channel);
}

// "process ID START", "socket PATH", "memory NAME", a line each; names may hold blanks.
void RunRecord::note(const std::vector<std::string>& sockets) {
    const auto self = os::ProcessIdentity::ofThisProcess();
    std::string content =
        "process " + std::to_string(self.id) + " " + std::to_string(self.startTime) + "\n";
    for (const auto& socket : sockets) {
        content += "socket " + socket + "\n";
    }
    for (const auto& name : ownSharedMemory()) {
        content += "memory " + name + "\n";
    }
    check(::pwrite(file.get(), content.data(), content.size(), 0) ==
                  static_cast<ssize_t>(content.size()) &&
              ::ftruncate(file.get(), static_cast<off_t>(content.size())) == 0,
          path);
}

// The process may have died before it noted all of its memory, whose names begin with its id: that
// tells enough as long as nobody else has the id.
void RunRecord::removeLeftovers(const std::string& content) const {
    std::istringstream lines(content);
    os::ProcessIdentity dead;
    std::vector<std::string> memory;
    for (std::string line; std::getline(lines, line);) {
        const auto blank = std::min(line.find(' '), line.size());
        const auto kind = line.substr(0, blank);
        const auto value = blank < line.size() ? line.substr(blank + 1) : std::string();
        if (kind == "process") {
            std::istringstream(value) >> dead.id >> dead.startTime;
        } else if (kind == "socket") {
            removeSocket(value);
        } else if (kind == "memory") {
            memory.push_back(value);
        }
    }
    if (dead.id > 1 && os::ProcessIdentity::of(dead.id).startTime == 0) {
        const auto unnoted = sharedMemoryOf(dead.id);
        memory.insert(memory.end(), unnoted.begin(), unnoted.end());
    }
    std::for_each(memory.begin(), memory.end(), removeSharedMemory);
}

void RunRecord::removeSocket(const std::string& socket) const {
    const auto beginning = prefix + "-channel-";
    if (!socket.starts_with(beginning) ||
        socket.find_first_not_of("0123456789", beginning.size()) != std::string::npos) {
        return;
    }
    const tarn::socket::IpcPathClaim claim(socket);  // throws when somebody listens
    if (::unlink(socket.c_str()) == 0) {
        utils::logInfo("Removed the socket " + socket + " that a dead process left");
    }
}

}  // namespace tarn::peers::ingest_service
