#include "benchmarks/support/EchoProcess.h"

#include <unistd.h>

#include "benchmarks/support/BareSocket.h"
#include "platform/utils/UuidGenerator.h"

namespace tarn::benchmarks {

EchoProcess::EchoProcess(std::size_t replySize)
    : endpoint("ipc:///tmp/" + utils::UuidGenerator::Generate()), process([this, replySize] {
          BareSocket(BareSocket::Kind::Router, endpoint).answerAlways(std::string(replySize, 'x'));
      }) {}

EchoProcess::~EchoProcess() {
    ::unlink(endpoint.substr(6).c_str());
}

}  // namespace tarn::benchmarks
