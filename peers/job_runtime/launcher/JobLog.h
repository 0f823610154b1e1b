#pragma once

#include <string>
#include <vector>

namespace tarn::peers {

/// Where job logs may go on this machine, best first: the system's folder, the user's state folder,
/// a folder of the user's own under /tmp.
std::vector<std::string> jobLogFolders();

/// Sends the process's log to "<label as a file name>.log" in the first of `folders` that can be
/// created and written, at most 1 MiB and one older file of that size. Returns the file's path;
/// empty, and the log then goes nowhere, when there is none: a job runs without its log.
std::string openJobLog(const std::vector<std::string>& folders, const std::string& label);

}  // namespace tarn::peers
