// What happens to the disk of the loop storage, and to a client whose host vanishes. Each looks at
// its end whether it has cost only what it concerns.
#include <cerrno>
#include <thread>

#include "tests/chaos/Chaos.h"
#include "tests/chaos/machine/VanishingHost.h"
#include "tests/support/Eventually.h"

namespace tarn::chaos {

namespace {

using namespace std::chrono_literals;
using failing_disk::Operation;
using storage_sequences::Client;
using storage_sequences::Outcome;
using storage_sequences::TrackModel;
using storage_sequences::Writer;

constexpr unsigned framesWritten = 40;
constexpr std::size_t smallestFrame = 3000;
constexpr std::size_t frameSpread = 12'000;
constexpr std::uint64_t spareSize = 64U << 10U;
// A disk is slow for longer than anybody else may be held up.
constexpr auto slowness = 20s;
constexpr auto othersTake = 2s;
// A dead peer is noticed in 10 s.
constexpr auto untilDeadPeerIsNoticed = 40s;

}  // namespace

bool Chaos::canFail() {
    if (machine.disk().disk() == nullptr) {
        ++counts["times that there was no disk that can fail"];
        return false;
    }
    return true;
}

bool Chaos::isDone(const Outcome& outcome, const std::string& what) {
    if (!outcome.isDone()) {
        complain(what + ": " + outcome.message);
    }
    return outcome.isDone();
}

// Whoever wrote before goes on.
void Chaos::expectFramesGoOn(const std::string& when) {
    const auto before = machine.frames().figures().acknowledged;
    const auto goesOn = [&] { return machine.frames().figures().acknowledged > before; };
    if (!test::eventuallyWithin(othersTake, goesOn)) {
        complain("no frame is acknowledged " + when);
    }
}

void Chaos::writeToDiskTrack(Writer& writer) {
    for (unsigned n = 0; n < framesWritten; ++n) {
        const auto timePoint = diskTrack.nextTimePoint();
        const auto size = smallestFrame + below(frameSpread);
        diskTrack.sent(size);
        if (!isDone(writer.write(timePoint, size), "writing to the disk's track")) {
            return;
        }
    }
    if (isDone(writer.flush(), "flushing the disk's track")) {
        diskTrack.acknowledged();
    }
}

// The last writer may still have to be brought to the disk.
std::unique_ptr<Writer> Chaos::writerOfDiskTrack(const service::devices::StorageAddress& address,
                                                 std::chrono::seconds patience) {
    std::unique_ptr<Writer> writer;
    Outcome outcome;
    const auto isFree = [&] {
        writer = Writer::Attach(address, machine.diskTrack(), outcome);
        return outcome.error != TARN_STORAGE_ERROR_IN_USE;
    };
    test::eventually(isFree, patience);
    isDone(outcome, "attaching to the disk's track");
    return writer;
}

void Chaos::fillDiskTrack() {
    if (const auto writer = writerOfDiskTrack(machine.places().storage, 10s)) {
        writeToDiskTrack(*writer);
    }
}

void Chaos::readDiskTrack() {
    const Client client(machine.places().storage);
    Client::Reading reading;
    TrackModel::Found found;
    if (isDone(client.describe(machine.diskTrack(), found), "describing the disk's track") &&
        isDone(client.read(machine.diskTrack(), reading), "reading the disk's track")) {
        found.frames = std::move(reading.frames);
        for (const auto& problem : diskTrack.compare(found, TrackModel::When::Running)) {
            complain(problem);
        }
    }
}

void Chaos::fillStorageDisk() {
    if (!canFail()) {
        return;
    }
    auto& disk = *machine.disk().disk();
    disk.setTaken(disk.size());
    TrackChange change{.size = spareSize};
    if (!TrackRequests(machine.places().requests).carryOut(change)) {
        complain("a track was made on a full disk");
    }
    expectFramesGoOn("on a full disk");
    disk.setTaken(0);
    changeTracks();
}

void Chaos::failReadsOfDiskTrack() {
    if (!canFail()) {
        return;
    }
    fillDiskTrack();
    auto& faults = machine.disk().disk()->faults();
    const auto from = below(machine.ownTracks().at(machine.diskTrack()));
    faults.add({.operation = Operation::Read,
                .path = machine.disk().pathOfData(machine.diskTrack()),
                .error = EIO,
                .from = from,
                .to = from + smallestFrame});
    Client::Reading reading;
    isDone(Client(machine.places().storage).read(machine.diskTrack(), reading),
           "reading what the disk cannot read");
    counts["frames that could not be read"] += static_cast<std::int64_t>(reading.unreadable);
    checkProgramsLive();
    expectFramesGoOn("while the disk cannot read another track");
    faults.clear();
    if (found.empty()) {
        readDiskTrack();
    }
}

void Chaos::slowDiskTrack() {
    if (!canFail()) {
        return;
    }
    fillDiskTrack();
    auto& faults = machine.disk().disk()->faults();
    const auto before = faults.met();
    faults.add({.operation = Operation::Sync,
                .path = "track-" + std::to_string(machine.diskTrack()) + "/",
                .delay = slowness});
    {
        const std::jthread syncing([this] {
            const auto cleared = Client(machine.places().storage).clear(machine.diskTrack());
            diskTrack.clearing();
            if (cleared.isDone()) {
                diskTrack.cleared();
            }
        });
        if (!test::eventually([&] { return faults.met() != before; })) {
            complain("the slow disk was not used");
        }
        expectFramesGoOn("while another track's disk is slow");
        faults.clear();
    }
    if (found.empty()) {
        readDiskTrack();
    }
}

// Its host is gone, and nothing ever comes from there: its track is not lost with it.
void Chaos::strandWriter() {
    std::unique_ptr<Writer> stranded;
    {
        const VanishingHost host;
        stranded =
            writerOfDiskTrack({.address = VanishingHost::address, .port = Places::tcpPort}, 10s);
        if (stranded) {
            writeToDiskTrack(*stranded);
        }
    }
    const auto writer = writerOfDiskTrack(machine.places().storage, untilDeadPeerIsNoticed);
    if (writer) {
        writeToDiskTrack(*writer);
    }
    expectFramesGoOn("after a client's host has vanished");
    if (found.empty()) {
        readDiskTrack();
    }
}

}  // namespace tarn::chaos
