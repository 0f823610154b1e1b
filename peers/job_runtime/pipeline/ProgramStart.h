#pragma once

#include <sys/types.h>

#include <string>

namespace tarn::peers {

/// How to start a program with standard input from nowhere.
struct ProgramStart {
    std::string path;
    std::string argument;  ///< its only one
    int output;            ///< descriptor for its standard output and error
    int channel;           ///< descriptor that it is handed as well ...
    int channelNumber;     ///< ... under this number
};

/// The program of that name in the folder of the running one. Throws std::filesystem_error.
std::string besideThisProgram(const std::string& name);

/// Starts it as the leader of a process group of its own, with the signals of a fresh program, the
/// limit of descriptors that this process was started with, and no other descriptors. Throws
/// std::system_error when it cannot be started.
pid_t startProgram(const ProgramStart& start);

}  // namespace tarn::peers
