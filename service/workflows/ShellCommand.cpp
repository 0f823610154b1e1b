#include "service/workflows/ShellCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

#include "platform/os/ProcessDefaults.h"

namespace tarn::service {

namespace {

constexpr std::chrono::seconds shellBound{10};

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

class SpawnAttributes {
  public:
    SpawnAttributes() {
        check(::posix_spawnattr_init(&attributes), "posix_spawnattr_init");
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    posix_spawnattr_t attributes;
};

class SpawnFiles {
  public:
    SpawnFiles() {
        check(::posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
        check(::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
              "posix_spawn_file_actions_addopen");
        check(::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1),
              "posix_spawn_file_actions_addclosefrom_np");
    }
    ~SpawnFiles() { ::posix_spawn_file_actions_destroy(&actions); }
    SpawnFiles(const SpawnFiles&) = delete;
    SpawnFiles& operator=(const SpawnFiles&) = delete;

    posix_spawn_file_actions_t actions;
};

class FileDescriptor {
  public:
    explicit FileDescriptor(int number) : number(number) {}
    ~FileDescriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    const int number;
};

// What a shell starts in the background begins at once: nothing that is done from here would be
// sure to come before it.
std::string withInheritedDescriptorLimit(const std::string& command) {
    const auto limit = os::inheritedDescriptorLimit();
    return "ulimit -S -n " + (limit == RLIM_INFINITY ? "unlimited" : std::to_string(limit)) + "\n" +
           command;
}

pid_t startShell(const std::string& command) {
    const SpawnAttributes attributes;
    const SpawnFiles files;
    std::string shell = "sh";
    std::string option = "-c";
    std::string text = withInheritedDescriptorLimit(command);
    char* const arguments[] = {shell.data(), option.data(), text.data(), nullptr};
    pid_t shellId = 0;
    check(::posix_spawn(&shellId, "/bin/sh", &files.actions, &attributes.attributes, arguments,
                        environ),
          "cannot run the shell");
    return shellId;
}

// The shell is our child and not reaped yet, so the id cannot have passed to another process.
bool endsWithin(std::chrono::milliseconds bound, pid_t shellId) {
    const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, shellId, 0)));
    if (process.number < 0) {
        throw std::system_error(errno, std::generic_category(), "pidfd_open");
    }
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd waited{process.number, POLLIN, 0};
        const int ready = ::poll(&waited, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

void reap(pid_t shellId) {
    while (::waitpid(shellId, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

void runShellCommand(const std::string& command) {
    runShellCommandWithin(shellBound, command);
}

void runShellCommandWithin(std::chrono::milliseconds bound, const std::string& command) {
    const pid_t shellId = startShell(command);
    bool ended = false;
    try {
        ended = endsWithin(bound, shellId);
    } catch (...) {
        ::kill(shellId, SIGKILL);
        reap(shellId);
        throw;
    }
    if (!ended) {
        ::kill(shellId, SIGKILL);
    }
    reap(shellId);
    if (!ended) {
        throw std::runtime_error("the shell did not end within " + std::to_string(bound.count()) +
                                 " ms and was killed");
    }
}

}  // namespace tarn::service
