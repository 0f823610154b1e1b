// What a shell makes of a quoted text is the text, all of it and nothing else. First a model of the
// shell says so; what that takes for one harmless word goes to a real sh, which lives as long as
// this process and knows no command but those that it has itself.

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz/support/Require.h"
#include "fuzz/support/ShellWords.h"
#include "peers/job_runtime/persistence/SafeFileName.h"
#include "service/workflows/launch/ShellQuote.h"

namespace {

using tarn::fuzz::require;

constexpr int answerWithinMs = 5000;

/// A shell that is told its commands one after the other. It ends with its input.
class Shell {
  public:
    Shell() {
        std::array<int, 2> pair{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) == 0);
        end = pair[0];
        process = ::fork();
        require(process >= 0);
        if (process == 0) {
            become(pair[1]);
        }
        ::close(pair[1]);
    }
    ~Shell() {
        ::close(end);
        ::waitpid(process, nullptr, 0);
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    /// What the shell makes of a word.
    std::string echo(const std::string& word) {
        send("printf '%s\\0' " + word + "\n");
        std::string told;
        while (told.empty() || told.back() != '\0') {
            std::array<char, 65536> buffer;
            pollfd input{.fd = end, .events = POLLIN, .revents = 0};
            require(::poll(&input, 1, answerWithinMs) == 1);
            const auto size = ::read(end, buffer.data(), buffer.size());
            require(size > 0);
            told.append(buffer.data(), static_cast<std::size_t>(size));
        }
        told.pop_back();
        return told;
    }

  private:
    [[noreturn]] static void become(int descriptor) {
        ::dup2(descriptor, STDIN_FILENO);
        ::dup2(descriptor, STDOUT_FILENO);
        std::array<char, 3> name{"sh"};
        std::array<char, 19> path{"PATH=/no/such/path"};
        const std::array<char*, 2> arguments{name.data(), nullptr};
        const std::array<char*, 2> environment{path.data(), nullptr};
        ::execve("/bin/sh", arguments.data(), environment.data());
        ::_exit(127);
    }

    void send(const std::string& text) {
        for (std::size_t sent = 0; sent < text.size();) {
            const auto size = ::send(end, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            require(size > 0);
            sent += static_cast<std::size_t>(size);
        }
    }

    int end = -1;
    pid_t process = -1;
};

void quote(const std::string& text) {
    const auto quoted = tarn::service::shellQuoted(text);
    require(tarn::fuzz::wordOf(quoted) == text);
    static Shell shell;
    require(shell.echo(quoted) == text);
}

void nameFile(const std::string& text) {
    const auto name = tarn::peers::safeFileName(text);
    require(!name.empty() && name.size() <= 200 && name.front() != '.' &&
            name.find('/') == std::string::npos && tarn::fuzz::wordOf(name) == name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    nameFile(text);
    try {
        quote(text);
    } catch (const std::invalid_argument&) {
        require(text.find('\0') != std::string::npos);
    }
    return 0;
}
