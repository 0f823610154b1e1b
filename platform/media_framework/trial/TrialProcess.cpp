#include "platform/media_framework/trial/TrialProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::media_framework {

namespace {

using Clock = std::chrono::steady_clock;

void check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

/// How the program starts.
class Start {
  public:
    explicit Start(int output) {
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&files, output, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setflags(
            &attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    }
    ~Start() {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&files);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

int openProcess(pid_t id) {
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    check(descriptor < 0 ? errno : 0, "pidfd_open");
    return descriptor;
}

bool becomesReadable(int descriptor, Clock::time_point deadline) {
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waited{descriptor, POLLIN, 0};
        const int ready = ::poll(&waited, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

}  // namespace

TrialProcess::TrialProcess(std::vector<std::string> arguments, int output) {
    Start start(output);
    std::vector<char*> texts;
    for (auto& argument : arguments) {
        texts.push_back(argument.data());
    }
    texts.push_back(nullptr);
    check(::posix_spawn(&id, texts.front(), &start.files, &start.attributes, texts.data(), environ),
          arguments.front());
}

TrialProcess::~TrialProcess() {
    if (id > 0) {
        endAndReap();
    }
}

// It is our child and not reaped yet, so its id cannot have passed to another process.
std::optional<int> TrialProcess::waitForEnd(std::chrono::milliseconds bound) {
    const auto deadline = Clock::now() + bound;
    const int process = openProcess(id);
    const bool ended = becomesReadable(process, deadline);
    ::close(process);
    return ended ? std::optional(endAndReap()) : std::nullopt;
}

int TrialProcess::endAndReap() {
    ::kill(-id, SIGKILL);
    int status = 0;
    while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    id = -1;
    return status;
}

}  // namespace tarn::media_framework
