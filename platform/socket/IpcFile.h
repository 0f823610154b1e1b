#pragma once

#include <sys/types.h>

#include <string>

namespace tarn::socket {

/// The file of a bound IPC socket, told from another that came to be at the same path.
class IpcFile {
  public:
    /// Takes note of the file that is at `path` now.
    explicit IpcFile(std::string path);

    /// Removes the file if it is still the same one; a name that was kept for good (KeptIpcName.h)
    /// is kept on. Exact while the socket is open, since nothing else can have its inode.
    void remove() const;

  private:
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const Identity&) const = default;
    };
    static Identity IdentityOf(const std::string& path);

    const std::string path;
    const Identity identity;
};

}  // namespace tarn::socket
