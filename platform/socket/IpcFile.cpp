#include "platform/socket/IpcFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "platform/socket/KeptIpcName.h"

namespace tarn::socket {

IpcFile::Identity IpcFile::IdentityOf(const std::string& path) {
    struct stat file {};
    return ::lstat(path.c_str(), &file) == 0 ? Identity{file.st_dev, file.st_ino} : Identity{};
}

IpcFile::IpcFile(std::string path) : path(std::move(path)), identity(IdentityOf(this->path)) {}

void IpcFile::remove() const {
    if (identity != Identity{} && IdentityOf(path) == identity &&
        !NamesKeptForGood::PutBack(path)) {
        ::unlink(path.c_str());
    }
}

}  // namespace tarn::socket
