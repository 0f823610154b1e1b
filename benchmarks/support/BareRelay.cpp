#include "benchmarks/support/BareRelay.h"

#include <unistd.h>

#include "benchmarks/support/BareSocket.h"
#include "platform/utils/UuidGenerator.h"

namespace tarn::benchmarks {

using Kind = BareSocket::Kind;

namespace {

void publish(const std::string& from, const std::string& to) {
    const auto context = BareSocket::makeContext();
    BareSocket in(Kind::Pull, from, context);
    BareSocket out(Kind::Publish, to, context);
    while (true) {
        in.forwardTo(out);
    }
}

void enlarge(const std::string& from, const std::string& to) {
    const auto context = BareSocket::makeContext();
    BareSocket in(Kind::Pull, from, context);
    BareSocket out(Kind::Push, to, context);
    std::string bytes;
    while (true) {
        if (in.receive(bytes)) {
            out.send(std::string(std::stoul(bytes), 'x'));
        }
    }
}

}  // namespace

BareRelay::BareRelay(Steps steps)
    : steps(steps), endpoint("ipc:///tmp/" + utils::UuidGenerator::Generate()) {
    const bool isLong = steps == Steps::Three;
    last = std::make_unique<test::ForkedProcess>(
        [this, isLong] { publish(isLong ? middle() : entry(), exit()); });
    if (isLong) {
        first = std::make_unique<test::ForkedProcess>([this] { enlarge(entry(), middle()); });
    }
}

BareRelay::~BareRelay() {
    for (const auto& address : {entry(), middle(), exit()}) {
        ::unlink(address.substr(6).c_str());
    }
}

std::string BareRelay::message(std::size_t event, std::size_t batch) const {
    if (steps == Steps::Two) {
        return std::string(batch, 'x');
    }
    auto text = std::to_string(batch);
    text.resize(std::max(event, text.size()), ' ');
    return text;
}

}  // namespace tarn::benchmarks
