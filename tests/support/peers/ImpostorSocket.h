#pragma once

#include <string>

#include "platform/os/FileDescriptor.h"
#include "tests/support/OtherUser.h"

namespace tarn::test {

/// Does the work in this thread as that user, as far as files and what the kernel notes of sockets
/// go. Only where canBeOthers.
void asUser(uid_t user, const std::function<void()>& work);

/// A Unix socket on which another user listens, at a path that others would connect to.
class ImpostorSocket {
  public:
    /// Whose the file is; the listener is the impostor's in any case.
    enum class File { Impostors, Ours };

    /// Throws std::system_error.
    explicit ImpostorSocket(std::string path, File file = File::Impostors,
                            uid_t impostor = OtherUser().user);
    ~ImpostorSocket();
    ImpostorSocket(const ImpostorSocket&) = delete;
    ImpostorSocket& operator=(const ImpostorSocket&) = delete;

    /// Takes all who wait to be accepted; what they have said, which is the loot.
    std::string loot() const;

  private:
    const std::string path;
    const os::FileDescriptor listening;
};

}  // namespace tarn::test
