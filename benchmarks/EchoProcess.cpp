#include "benchmarks/EchoProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "benchmarks/BareSocket.h"
#include "platform/utils/UuidGenerator.h"

namespace tarn::benchmarks {

EchoProcess::EchoProcess(std::size_t replySize)
    : endpoint("ipc:///tmp/" + utils::UuidGenerator::Generate()), child(::fork()) {
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            BareSocket(BareSocket::Kind::Router, endpoint)
                .answerAlways(std::string(replySize, 'x'));
        } catch (...) {
            ::_exit(1);
        }
    }
}

EchoProcess::~EchoProcess() {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::unlink(endpoint.substr(6).c_str());
}

}  // namespace tarn::benchmarks
