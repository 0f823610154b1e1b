#pragma once

#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>

#include "tests/failing_disk/Disk.h"

namespace tarn::failing_disk {

/// What the kernel asks for, answered from a disk: the user data of a session with
/// mountRequests is one of these.
struct MountedDisk {
    Disk& disk;
    Luck luck;
};

fuse_lowlevel_ops mountRequests();

}  // namespace tarn::failing_disk
