#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarn::peers::ingest_service {

/// The names of the media library's shared memory that this process holds.
std::vector<std::string> ownSharedMemory();

/// The names that a process of this id would have given, in use or left over.
std::vector<std::string> sharedMemoryOf(pid_t process);

/// Does nothing for other names than those of the media library, for other users' memory, and for
/// what is gone. What others have open they keep.
void removeSharedMemory(const std::string& name);

}  // namespace tarn::peers::ingest_service
