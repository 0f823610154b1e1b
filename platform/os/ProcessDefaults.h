#pragma once

#include <sys/resource.h>

namespace tarn::os {

// What each program of the system sets for itself before it does anything else. Main thread.

/// From now on a reader that has gone is an error of the write, and not the end of this process:
/// whoever reads our log, or the other end of a pipe, may go away at any time. Programs inherit it:
/// what is started by this process is started with default signal handling.
void ignoreBrokenPipes();

/// Raises the limit of open descriptors as far as the process may: every client takes one.
void raiseDescriptorLimit();

/// The limit that this process was started with, for what it starts in turn: a program that uses
/// select cannot cope with descriptors from 1024 on. RLIM_INFINITY stands for no limit. Any thread
/// after raiseDescriptorLimit.
rlim_t inheritedDescriptorLimit();

}  // namespace tarn::os
