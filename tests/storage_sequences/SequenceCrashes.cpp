// What ends the server of a sequence, and what must be there afterwards.
#include <thread>

#include "tests/storage_sequences/Sequence.h"
#include "tests/support/Eventually.h"

namespace tarn::storage_sequences {

namespace {

using namespace std::chrono_literals;
using Loss = TrackModel::Loss;

constexpr std::size_t longestBusyUs = 3'000;
constexpr std::size_t longestStartUs = 40'000;

/// Kills the server after a while.
class Killer {
  public:
    Killer(const Machine& machine, std::chrono::microseconds after)
        : thread([&machine, after] {
              std::this_thread::sleep_for(after);
              machine.strike();
          }) {}

  private:
    std::jthread thread;
};

}  // namespace

// What is on the disk of what nobody has synced.
failing_disk::Luck Sequence::luck() {
    switch (below(4)) {
        case 0:
            return failing_disk::never();
        case 1:
            return failing_disk::always();
        default:
            return failing_disk::oneIn(2 + static_cast<unsigned>(below(4)), random());
    }
}

// Several of these may come before the next server; it is looked at then.
void Sequence::afterEnd(Loss loss) {
    writers.clear();
    for (auto& [id, track] : tracks) {
        track.lost(loss);
    }
}

void Sequence::start() {
    machine.startServer();
    compareAll(TrackModel::When::AtStart);
}

void Sequence::kill() {
    machine.kill();
    afterEnd(Loss::Server);
    start();
}

// Not long enough to serve, or only just.
void Sequence::killWhileStarting() {
    machine.kill();
    afterEnd(Loss::Server);
    launchAndKill();
    start();
}

void Sequence::launchAndKill() {
    for (auto times = 1 + below(3); times > 0; --times) {
        machine.launchServer();
        { const Killer killer(machine, std::chrono::microseconds(below(longestStartUs))); }
        machine.kill();
    }
}

void Sequence::busy() {
    constexpr void (Sequence::*what[])() = {
        &Sequence::write,         &Sequence::write,  &Sequence::clear,  &Sequence::resize,
        &Sequence::setProperties, &Sequence::create, &Sequence::destroy};
    isStruck = true;
    {
        const Killer killer(machine, std::chrono::microseconds(below(longestBusyUs)));
        (this->*what[below(std::size(what))])();
    }
    machine.kill();
    isStruck = false;
}

void Sequence::killWhileBusy() {
    busy();
    afterEnd(Loss::Server);
    start();
}

void Sequence::losePowerWhileBusy() {
    busy();
    machine.losePower(luck());
    afterEnd(Loss::Power);
    start();
}

// Also again, while the server mends what the first time has left.
void Sequence::losePower() {
    machine.kill();
    machine.losePower(luck());
    if (oneIn(3)) {
        launchAndKill();
        machine.losePower(luck());
    }
    afterEnd(Loss::Power);
    start();
}

void Sequence::stop() {
    const auto ending = machine.stop();
    if (ending != test::Ending::exited(0)) {
        complain("the server did not end in order");
    }
    afterEnd(Loss::Server);
    start();
}

// In order; the server may have been killed before.
void Sequence::reboot() {
    if (oneIn(2)) {
        machine.kill();
    } else if (machine.stop() != test::Ending::exited(0)) {
        complain("the server did not end in order");
    }
    machine.reboot();
    afterEnd(Loss::Server);
    start();
}

}  // namespace tarn::storage_sequences
