#include "tests/support/Spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <system_error>

namespace tarn::test {

namespace {

/// The list of pointers that the C library takes; the texts must outlive it.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const auto& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWith(const Environment& additions) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!additions.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : additions) {
        result.push_back(name + "=" + value);
    }
    return result;
}

class FileActions {
  public:
    explicit FileActions(const OutputDescriptors& outputs) {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        lead(outputs.out, STDOUT_FILENO);
        lead(outputs.err, STDERR_FILENO);
    }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions; }

  private:
    void lead(int from, int to) {
        if (from >= 0) {
            ::posix_spawn_file_actions_adddup2(&actions, from, to);
        }
    }

    posix_spawn_file_actions_t actions{};
};

/// No signal ignored or blocked, whatever this process does about them.
class DefaultSignals {
  public:
    DefaultSignals() {
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~DefaultSignals() { ::posix_spawnattr_destroy(&attributes); }
    DefaultSignals(const DefaultSignals&) = delete;
    DefaultSignals& operator=(const DefaultSignals&) = delete;

    const posix_spawnattr_t* get() const { return &attributes; }

  private:
    posix_spawnattr_t attributes{};
};

}  // namespace

pid_t spawn(const std::vector<std::string>& command, const OutputDescriptors& outputs,
            const Environment& environment) {
    const auto variables = environmentWith(environment);
    pid_t id = -1;
    const int error = ::posix_spawnp(&id, command.front().c_str(), FileActions(outputs).get(),
                                     DefaultSignals().get(), pointersTo(command).data(),
                                     pointersTo(variables).data());
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start " + command.front());
    }
    return id;
}

std::string builtProgram(const std::string& name) {
    return std::string(TARN_PROGRAM_FOLDER) + "/" + name;
}

}  // namespace tarn::test
