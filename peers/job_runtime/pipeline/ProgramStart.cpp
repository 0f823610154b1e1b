#include "peers/job_runtime/pipeline/ProgramStart.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "platform/os/ProcessDefaults.h"

namespace tarn::peers {

namespace {

class FileActions {
  public:
    FileActions() { ::posix_spawn_file_actions_init(&actions); }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    posix_spawn_file_actions_t* get() { return &actions; }

  private:
    posix_spawn_file_actions_t actions{};
};

class Attributes {
  public:
    Attributes() { ::posix_spawnattr_init(&attributes); }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    posix_spawnattr_t* get() { return &attributes; }

  private:
    posix_spawnattr_t attributes{};
};

void useFreshSignalsAndGroup(posix_spawnattr_t* attributes) {
    sigset_t all;
    sigset_t none;
    ::sigfillset(&all);
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigdefault(attributes, &all);
    ::posix_spawnattr_setsigmask(attributes, &none);
    ::posix_spawnattr_setpgroup(attributes, 0);
    ::posix_spawnattr_setflags(
        attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
}

// The channel comes last: its number may be that of another descriptor of ours.
void arrangeDescriptors(posix_spawn_file_actions_t* actions, const ProgramStart& start) {
    ::posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(actions, start.output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(actions, start.output, STDERR_FILENO);
    ::posix_spawn_file_actions_adddup2(actions, start.channel, start.channelNumber);
    ::posix_spawn_file_actions_addclosefrom_np(actions, start.channelNumber + 1);
}

// Right after its start: until then it has hardly opened anything.
void lowerDescriptorLimit(pid_t id) {
    rlimit limit{};
    if (::prlimit(id, RLIMIT_NOFILE, nullptr, &limit) == 0) {
        limit.rlim_cur = os::inheritedDescriptorLimit();
        ::prlimit(id, RLIMIT_NOFILE, &limit, nullptr);
    }
}

}  // namespace

std::string besideThisProgram(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(name).string();
}

pid_t startProgram(const ProgramStart& start) {
    FileActions actions;
    Attributes attributes;
    arrangeDescriptors(actions.get(), start);
    useFreshSignalsAndGroup(attributes.get());
    std::string path = start.path;
    std::string argument = start.argument;
    std::array<char*, 3> arguments = {path.data(), argument.data(), nullptr};
    pid_t id = -1;
    const int error = ::posix_spawn(&id, path.c_str(), actions.get(), attributes.get(),
                                    arguments.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), path);
    }
    lowerDescriptorLimit(id);
    return id;
}

}  // namespace tarn::peers
