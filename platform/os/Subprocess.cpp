#include "platform/os/Subprocess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/os/ProcessDefaults.h"
#include "platform/os/Readable.h"

namespace tarn::os {

namespace {

constexpr std::chrono::seconds killedWithin{1};

void checkError(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

class FileActions {
  public:
    explicit FileActions(const Subprocess::Start& start) {
        checkError(::posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
        open(STDIN_FILENO, "/dev/null");
        duplicate(start.output, STDOUT_FILENO);
        duplicate(start.output, STDERR_FILENO);
        // Last: its number may be that of another descriptor of ours.
        duplicate(start.channel, Subprocess::channelNumber);
        const int kept = start.channel >= 0 ? Subprocess::channelNumber : STDERR_FILENO;
        failure |= ::posix_spawn_file_actions_addclosefrom_np(&actions, kept + 1);
    }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions; }
    /// Adding one fails only for lack of memory.
    int error() const { return failure != 0 ? ENOMEM : 0; }

  private:
    void open(int number, const char* path) {
        failure |= ::posix_spawn_file_actions_addopen(&actions, number, path, O_RDONLY, 0);
    }
    void duplicate(int descriptor, int number) {
        if (descriptor >= 0) {
            failure |= ::posix_spawn_file_actions_adddup2(&actions, descriptor, number);
        }
    }

    posix_spawn_file_actions_t actions{};
    int failure = 0;
};

class Attributes {
  public:
    explicit Attributes(Subprocess::Group group) {
        checkError(::posix_spawnattr_init(&attributes), "posix_spawnattr_init");
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        const int own = group == Subprocess::Group::Own ? POSIX_SPAWN_SETPGROUP : 0;
        ::posix_spawnattr_setflags(
            &attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | own));
    }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes; }

  private:
    posix_spawnattr_t attributes{};
};

// Ends with a null pointer, as the kernel wants it.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

pid_t spawn(Subprocess::Start& start) {
    const FileActions files(start);
    const Attributes attributes(start.group);
    checkError(files.error(), "posix_spawn_file_actions");
    const auto arguments = pointersTo(start.arguments);
    const auto own = start.environment ? pointersTo(*start.environment) : std::vector<char*>();
    pid_t id = -1;
    checkError(::posix_spawn(&id, arguments.front(), files.get(), attributes.get(),
                             arguments.data(), start.environment ? own.data() : environ),
               start.arguments.front());
    return id;
}

void lowerDescriptorLimit(pid_t id) {
    rlimit limit{};
    if (::prlimit(id, RLIMIT_NOFILE, nullptr, &limit) == 0) {
        limit.rlim_cur = inheritedDescriptorLimit();
        ::prlimit(id, RLIMIT_NOFILE, &limit, nullptr);
    }
}

}  // namespace

// It is our child and not reaped yet, so its id cannot have passed to another process.
Subprocess::Subprocess(Start start)
    : group(start.group),
      processId(spawn(start)),
      process(static_cast<int>(::syscall(SYS_pidfd_open, processId, 0))) {
    const int failure = errno;
    lowerDescriptorLimit(processId);
    if (!process.isOpen()) {
        signal(SIGKILL);
        endAndReap(0);
        checkError(failure, "pidfd_open");
    }
}

Subprocess::~Subprocess() {
    if (life == Life::Running) {
        signal(SIGKILL);
        waitForEnd(killedWithin);
    }
}

void Subprocess::signal(int number) const {
    if (life == Life::Running) {
        ::kill(group == Group::Own ? -processId : processId, number);
    }
}

std::optional<int> Subprocess::waitForEnd(std::chrono::milliseconds bound) {
    const bool hasEnded = life == Life::Running && becomesReadable(process.get(), Deadline(bound));
    return hasEnded ? endAndReap(WNOHANG) : std::nullopt;
}

// The group ends before its id is given back and could name another one.
std::optional<int> Subprocess::endAndReap(int waitFlags) {
    if (group == Group::Own) {
        signal(SIGKILL);
    }
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(processId, &status, waitFlags);
    } while (reaped < 0 && errno == EINTR);
    life = Life::Reaped;
    return reaped == processId ? std::optional(status) : std::nullopt;
}

std::string besideThisProgram(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(name).string();
}

}  // namespace tarn::os
