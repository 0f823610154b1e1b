// What the disk of a sequence does, and that it costs what it concerns and nothing else.
#include <cerrno>
#include <thread>

#include "tests/storage_sequences/Sequence.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"

namespace tarn::storage_sequences {

namespace {

using namespace std::chrono_literals;
using failing_disk::Fault;
using failing_disk::Operation;

constexpr unsigned someFrames = 8;
// Others may take as long as a busy machine takes; a slow disk takes longer than they wait for it.
constexpr auto othersTake = 1500ms;
constexpr auto slowness = 20s;
constexpr auto untilMet = 20s;

std::string folderOf(std::int64_t track) {
    return "track-" + std::to_string(track) + "/";
}

}  // namespace

void Sequence::writeBack() {
    machine.disk().writeBack(luck());
}

std::string Sequence::dataPathOf(std::int64_t id) {
    const auto& disk = machine.disk();
    for (const auto& [name, attributes] : disk.list(disk.at(folderOf(id)))) {
        if (name.starts_with("data.")) {
            return folderOf(id) + name;
        }
    }
    return folderOf(id) + "data";
}

void Sequence::goOnWith(std::int64_t id) {
    if (writeTo(id, someFrames)) {
        flush(id);
    }
}

// Whoever reads is told of those that cannot be read, and given the others.
void Sequence::readSome(std::int64_t id) {
    Client::Reading reading;
    if (!isExpected(client().read(id, reading), "reading " + trackName(id) + " from a bad disk")) {
        return;
    }
    note("  " + std::to_string(reading.frames.size()) + " frames are read and " +
         std::to_string(reading.unreadable) + " are not");
    for (const auto& frame : reading.frames) {
        if (!frame.isWhole) {
            complain(trackName(id) + ": frame " + std::to_string(frame.timePoint) +
                     " is torn, on a bad disk");
        }
    }
}

void Sequence::failReads() {
    const auto id = anyTrack();
    goOnWith(id);
    const auto from = below(tracks.at(id).size());
    const auto size = 1 + below(tracks.at(id).size() / 4);
    note("  " + trackName(id) + ", bytes " + std::to_string(from) + " to " +
         std::to_string(from + size));
    machine.disk().faults().add({.operation = Operation::Read,
                                 .path = dataPathOf(id),
                                 .error = EIO,
                                 .from = from,
                                 .to = from + size});
    if (problems.empty()) {
        readSome(id);
    }
    if (problems.empty()) {
        goOnWith(otherThan(id));
    }
    machine.disk().faults().clear();
    if (problems.empty()) {
        look();
    }
}

// Nothing is said of how it goes.
Outcome Sequence::tryToWrite(std::int64_t id) {
    auto& track = tracks.at(id);
    Outcome outcome;
    for (unsigned n = 0; outcome.isDone() && n < someFrames; ++n) {
        const auto timePoint = track.nextTimePoint();
        const auto size = anyFrameSize(track);
        track.sent(size);
        outcome = writers.at(id)->write(timePoint, size);
    }
    return outcome.isDone() ? writers.at(id)->flush() : outcome;
}

// It costs the frame, and its writer.
void Sequence::failFrameWrites() {
    const auto id = anyTrack();
    goOnWith(id);
    flushAll();
    if (!problems.empty()) {
        return;
    }
    const auto before = machine.disk().faults().met();
    machine.disk().faults().add(
        {.operation = Operation::Write, .path = dataPathOf(id), .error = EIO});
    const auto outcome = tryToWrite(id);
    if (outcome.isDone() && machine.disk().faults().met() != before) {
        complain("frames that cannot be written to " + trackName(id) + " are acknowledged");
    }
    machine.disk().faults().clear();
    writers.erase(id);
    if (problems.empty() && writerOf(id) != nullptr) {  // what the last one has begun is over
        compareAll(TrackModel::When::Running);
    }
}

Fault Sequence::anyTrackFailure(std::int64_t id) {
    Fault fault{.operation = Operation::Sync, .path = folderOf(id) + "index", .error = EIO};
    switch (below(3)) {
        case 0:
            fault.path = dataPathOf(id);
            break;
        case 1:
            fault.operation = Operation::Write;
            break;
        default:
            break;
    }
    fault.times = oneIn(2) ? 1 : Fault::always;
    return fault;
}

bool Sequence::isRefused(const Outcome& outcome, const std::string& what) {
    if (outcome.how != Outcome::How::Refused) {
        complain(what + " is not refused: " + outcome.message);
    }
    return outcome.how == Outcome::How::Refused;
}

// Frames that can be lost are not acknowledged as durable. What is, is really there.
bool Sequence::noticesFailure(std::int64_t id) {
    const auto fault = anyTrackFailure(id);
    note("  " + fault.path +
         (fault.operation == Operation::Sync ? " is not synced" : " is not written") +
         (fault.times == 1 ? ", once" : ""));
    const auto before = machine.disk().faults().met();
    machine.disk().faults().add(fault);
    auto outcome = tryToWrite(id);
    outcome = outcome.isDone() ? bringToDisk(id) : outcome;
    writers.erase(id);
    if (outcome.isDone()) {
        outcome = whenFree([&] {
            Outcome attached;
            writers[id] = Writer::Attach(anyAddress(), id, attached);
            return attached;
        });
        writers.erase(id);
    }
    const bool isMet = machine.disk().faults().met() != before;
    machine.disk().faults().clear();
    if (outcome.isDone()) {
        note("  nobody was told");
        tracks.at(id).durable();
        return false;
    }
    return isMet && isRefused(outcome, "a failing disk of " + trackName(id));
}

// Read, but not written until it is cleared, also by the next server.
void Sequence::useFailedTrack(std::int64_t id) {
    tracks.at(id).diskFailed();
    readSome(id);
    if (problems.empty()) {
        goOnWith(otherThan(id));
    }
    if (oneIn(2) && problems.empty()) {
        machine.disk().dropCache();
        oneIn(2) ? losePower() : kill();
    }
    if (!problems.empty()) {
        return;
    }
    Outcome outcome;
    whenFree([&] {
        const auto writer = Writer::Attach(anyAddress(), id, outcome);
        return outcome;
    });
    if (!isRefused(outcome, "writing on to " + trackName(id) + ", whose disk has failed,")) {
        return;
    }
    tracks.at(id).clearing();
    if (isExpected(client().clear(id), "clearing " + trackName(id) + ", whose disk has failed,")) {
        tracks.at(id).cleared();
        goOnWith(id);
    }
}

void Sequence::failTrack() {
    const auto id = anyTrack();
    goOnWith(id);
    if (!problems.empty()) {
        return;
    }
    if (noticesFailure(id)) {
        useFailedTrack(id);
    } else if (problems.empty()) {
        losePower();
    }
}

// The list with all that it tells, and another track's attaching, writing and reading.
void Sequence::expectOthersGoOn(std::int64_t slow) {
    const auto other = otherThan(slow);
    const auto take = [this](const std::string& what, const std::function<void()>& action) {
        const test::MachineTime time;
        action();
        if (time.elapsed() > othersTake && problems.empty()) {
            complain(what + " took " + std::to_string(time.elapsed().count()) +
                     " ms while another track's disk was slow");
        }
    };
    take("telling of all tracks", [&] {
        for (const auto& [id, track] : tracks) {
            TrackModel::Found found;
            isExpected(client().describe(id, found), "describing " + trackName(id));
        }
    });
    writers.erase(other);
    take("attaching and writing", [&] { goOnWith(other); });
    take("reading", [&] { readSome(other); });
}

void Sequence::beSlow() {
    const auto id = anyTrack();
    goOnWith(id);
    if (!problems.empty()) {
        return;
    }
    constexpr Operation operations[] = {Operation::Read, Operation::Write, Operation::Sync};
    const auto operation = operations[below(std::size(operations))];
    const auto before = machine.disk().faults().met();
    const auto address = anyAddress();
    writers.erase(id);
    note("  " + trackName(id) +
         (operation == Operation::Read    ? " is read"
          : operation == Operation::Write ? " is written"
                                          : " is synced"));
    machine.disk().faults().add({.operation = operation, .path = folderOf(id), .delay = slowness});
    Outcome outcome;
    {
        std::jthread user([&] {
            if (operation == Operation::Read) {
                Client::Reading reading;
                outcome = Client(address).read(id, reading);
            } else {
                outcome = Client(address).clear(id);
            }
        });
        if (!test::eventually([&] { return machine.disk().faults().met() != before; }, untilMet)) {
            complain("the slow disk of " + trackName(id) + " was not used");
        }
        expectOthersGoOn(id);
        machine.disk().faults().clear();
    }
    if (operation == Operation::Read) {
        isExpected(outcome, "reading from a slow disk");
    } else {
        tracks.at(id).clearing();
        if (outcome.isDone()) {
            tracks.at(id).cleared();
        }
    }
    if (problems.empty()) {
        look();
    }
}

// What has its room goes on.
void Sequence::beFull() {
    const auto id = anyTrack();
    machine.disk().setTaken(machine.disk().size());
    std::int64_t made = -1;
    if (isRefused(client().create(anySize(), made), "a track on a full disk") && oneIn(2)) {
        const Properties changes{{"Full", std::string(below(3000), 'f')}};
        auto wanted = tracks.at(id).properties();
        wanted["Full"] = changes.at("Full");
        tracks.at(id).changing(wanted);
        if (isRefused(client().setProperties(id, changes), "a property on a full disk")) {
            tracks.at(id).nothingChanged();
        }
    }
    if (problems.empty()) {
        goOnWith(id);
    }
    if (problems.empty() && oneIn(2)) {
        kill();
    }
    machine.disk().setTaken(0);
    if (problems.empty()) {
        look();
    }
}

}  // namespace tarn::storage_sequences
