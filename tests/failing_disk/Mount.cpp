#include "tests/failing_disk/Mount.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "tests/failing_disk/MountRequests.h"

namespace tarn::failing_disk {

namespace {

constexpr auto device = "/dev/fuse";

fuse_session* newSession(MountedDisk& disk) {
    std::array<char*, 1> arguments{const_cast<char*>("failing-disk")};
    fuse_args list = FUSE_ARGS_INIT(1, arguments.data());
    const auto requests = mountRequests();
    auto* const session = fuse_session_new(&list, &requests, sizeof requests, &disk);
    fuse_opt_free_args(&list);  // it may have put others in their place
    if (session == nullptr) {
        throw std::system_error(EINVAL, std::generic_category(), "A file system");
    }
    return session;
}

}  // namespace

struct Mount::Server {
    MountedDisk disk;
};

void Mount::EndSession::operator()(fuse_session* session) const {
    fuse_session_destroy(session);
}

bool Mount::isPossible(std::string& reason) {
    const int opened = ::open(device, O_RDWR | O_CLOEXEC);
    if (opened < 0) {
        reason = std::string(device) + ": " + std::strerror(errno);
        return false;
    }
    ::close(opened);
    return true;
}

Mount::Mount(Disk& disk, const std::filesystem::path& folder, Luck luck)
    : folder(folder),
      server(std::make_unique<Server>(Server{{.disk = disk, .luck = std::move(luck)}})),
      session(newSession(server->disk)) {
    if (fuse_session_mount(session.get(), folder.c_str()) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "Cannot mount a disk on " + folder.string());
    }
    for (int n = 0; n < threads; ++n) {
        workers.emplace_back([this] { serve(); });
    }
}

// The kernel ends the session, and so the workers' waiting, even where somebody is still in there.
Mount::~Mount() {
    server->disk.disk.faults().clear();
    ::umount2(folder.c_str(), MNT_FORCE);
    ::umount2(folder.c_str(), MNT_DETACH);
    workers.clear();
    fuse_session_unmount(session.get());
}

void Mount::serve() const {
    fuse_buf buffer{};
    while (fuse_session_exited(session.get()) == 0) {
        const int received = fuse_session_receive_buf(session.get(), &buffer);
        if (received > 0) {
            fuse_session_process_buf(session.get(), &buffer);
        } else if (received != -EINTR && received != -EAGAIN) {
            break;
        }
    }
    std::free(buffer.mem);
}

}  // namespace tarn::failing_disk
