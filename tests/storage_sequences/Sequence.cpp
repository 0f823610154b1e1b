// What the clients of a storage do.
#include "tests/storage_sequences/Sequence.h"

#include <algorithm>
#include <utility>

#include "tests/support/Eventually.h"

namespace tarn::storage_sequences {

using service::devices::StorageAddress;

namespace {

constexpr unsigned fewestActions = 8;
constexpr unsigned mostActions = 24;
constexpr std::uint64_t smallestTrack = 16U << 10U;
constexpr unsigned sizeDoublings = 7;
constexpr std::uint64_t framesInATrack = 1000;  // fewer than a track has records for
constexpr std::size_t mostTracks = 5;
constexpr unsigned longestBurst = 25;
constexpr std::chrono::seconds longestDetach{20};

}  // namespace

Sequence::Sequence(const Machine::Places& places, Boots& boots, std::uint64_t seed,
                   std::set<std::string> without)
    : random(seed), without(std::move(without)), machine(places, boots, seed) {}

const std::vector<Sequence::Action>& Sequence::actions() {
    static const std::vector<Action> all = {
        {"write", 60, &Sequence::write},
        {"durable", 20, &Sequence::makeDurable},
        {"detach", 10, &Sequence::detach},
        {"clear", 12, &Sequence::clear},
        {"resize", 15, &Sequence::resize},
        {"properties", 10, &Sequence::setProperties},
        {"property-removal", 4, &Sequence::removeProperty},
        {"create", 8, &Sequence::create},
        {"destroy", 6, &Sequence::destroy},
        {"look", 10, &Sequence::look},
        {"write-back", 15, &Sequence::writeBack},
        {"kill", 10, &Sequence::kill},
        {"kill-at-start", 5, &Sequence::killWhileStarting},
        {"kill-busy", 15, &Sequence::killWhileBusy},
        {"stop", 5, &Sequence::stop},
        {"reboot", 8, &Sequence::reboot},
        {"power", 15, &Sequence::losePower},
        {"power-busy", 15, &Sequence::losePowerWhileBusy},
        {"unreadable", 6, &Sequence::failReads},
        {"unwritable", 4, &Sequence::failFrameWrites},
        {"failing", 6, &Sequence::failTrack},
        {"slow", 4, &Sequence::beSlow},
        {"full", 4, &Sequence::beFull},
    };
    return all;
}

std::vector<std::string> Sequence::kinds() {
    std::vector<std::string> names;
    for (const auto& action : actions()) {
        names.emplace_back(action.name);
    }
    return names;
}

std::vector<std::string> Sequence::run() {
    try {
        machine.startServer();
        create();
        create();
        const auto count = fewestActions + below(mostActions - fewestActions);
        for (std::size_t n = 0; n < count && problems.empty(); ++n) {
            act();
        }
        if (problems.empty()) {
            kill();
        }
        if (problems.empty()) {
            stop();
        }
    } catch (const std::exception& failure) {
        complain(failure.what());
    }
    return problems;
}

std::string Sequence::story() const {
    std::string text;
    for (const auto& line : done) {
        text += line + "\n";
    }
    return text + "-- the servers:\n" + machine.log();
}

void Sequence::act() {
    std::vector<unsigned> weights;
    for (const auto& action : actions()) {
        weights.push_back(without.contains(action.name) ? 0 : action.weight);
    }
    std::discrete_distribution<std::size_t> any(weights.begin(), weights.end());
    const auto& action = actions()[any(random)];
    note(action.name);
    (this->*action.run)();
    if (problems.empty() && !machine.isUp()) {
        complain("the server ended by itself");
    }
}

StorageAddress Sequence::anyAddress() {
    return oneIn(2) ? machine.unixAddress() : machine.tcpAddress();
}

Client Sequence::client() {
    return Client(anyAddress());
}

std::int64_t Sequence::anyTrack() {
    return std::next(tracks.begin(), static_cast<std::ptrdiff_t>(below(tracks.size())))->first;
}

std::int64_t Sequence::otherThan(std::int64_t track) {
    auto other = anyTrack();
    while (other == track) {
        other = anyTrack();
    }
    return other;
}

std::uint64_t Sequence::anySize() {
    return (smallestTrack << below(sizeDoublings + 1)) + below(smallestTrack);
}

// Most are small; now and then one fills the ring.
std::size_t Sequence::anyFrameSize(const TrackModel& track) {
    const auto least = track.size() / framesInATrack + 1;
    const auto most = track.size() / (oneIn(40) ? 1 : 2U << below(6));
    return least + below(std::max(most, least + 1) - least);
}

// Whether it is done. What is broken although nobody has killed the server is a problem, and so is
// a refusal of what was in order.
bool Sequence::isExpected(const Outcome& outcome, const std::string& what) {
    if (!outcome.isDone() && !(outcome.isBroken() && isStruck)) {
        complain(what + " failed: " + outcome.message);
    }
    return outcome.isDone();
}

// A writer that has detached holds its track until all of it is on the disk.
Outcome Sequence::whenFree(const std::function<Outcome()>& call) const {
    Outcome outcome;
    const auto isFree = [&] {
        outcome = call();
        return outcome.error != TARN_STORAGE_ERROR_IN_USE;
    };
    test::eventually(isFree, longestDetach);
    return outcome;
}

Writer* Sequence::writerOf(std::int64_t id) {
    auto& writer = writers[id];
    if (!writer) {
        const auto address = anyAddress();
        const auto outcome = whenFree([&] {
            Outcome attached;
            writer = Writer::Attach(address, id, attached);
            return attached;
        });
        isExpected(outcome, "attaching a writer to " + trackName(id));
    }
    return writer.get();
}

bool Sequence::writeTo(std::int64_t id, unsigned frames) {
    auto* const writer = writerOf(id);
    auto& track = tracks.at(id);
    note("  " + std::to_string(frames) + " frames from " + std::to_string(track.nextTimePoint()) +
         " on to " + trackName(id));
    for (unsigned n = 0; writer != nullptr && n < frames; ++n) {
        const auto timePoint = track.nextTimePoint();
        const auto size = anyFrameSize(track);
        track.sent(size);
        if (!isExpected(writer->write(timePoint, size), "writing to " + trackName(id))) {
            return false;
        }
    }
    return writer != nullptr;
}

bool Sequence::flush(std::int64_t id) {
    auto* const writer = writerOf(id);
    if (writer == nullptr || !isExpected(writer->flush(), "flushing " + trackName(id))) {
        return false;
    }
    tracks.at(id).acknowledged();
    return true;
}

void Sequence::write() {
    const auto id = anyTrack();
    if (writeTo(id, 1 + static_cast<unsigned>(below(longestBurst))) && !oneIn(4)) {
        flush(id);
    }
}

void Sequence::detach() {
    const auto id = anyTrack();
    if (writers.contains(id) && flush(id)) {
        writers.erase(id);
    }
}

// Some frames at least, by one of the ways there are.
void Sequence::makeDurable() {
    const auto id = anyTrack();
    note("  " + trackName(id));
    if (oneIn(3)) {
        return writeDurably(id);
    }
    if (flush(id) && isExpected(bringToDisk(id), "bringing to the disk " + trackName(id))) {
        tracks.at(id).durable();
    }
}

// A flush is then one to the disk.
void Sequence::writeDurably(std::int64_t id) {
    if (auto* const writer = writerOf(id)) {
        writer->setDurable();
        writeTo(id, 1 + static_cast<unsigned>(below(longestBurst / 4)));
        if (problems.empty() && flush(id)) {
            tracks.at(id).durable();
        }
        writers.erase(id);
    }
}

// By the writer; or by detaching it: a size that is refused as long as somebody is attached tells
// when the last writer's frames are on the disk.
Outcome Sequence::bringToDisk(std::int64_t id) {
    const auto writer = writers.find(id);
    if (writer != writers.end() && writer->second && oneIn(2)) {
        return writer->second->flushToDisk();
    }
    writers.erase(id);
    std::uint64_t reached = 0;
    return whenFree([&] { return client().resize(id, tracks.at(id).size(), reached); });
}

void Sequence::clear() {
    const auto id = anyTrack();
    auto& track = tracks.at(id);
    if (writers.contains(id) && !flush(id)) {
        return;
    }
    note("  " + trackName(id));
    track.clearing();
    if (isExpected(client().clear(id), "clearing " + trackName(id))) {
        track.cleared();
    }
}

void Sequence::resize() {
    const auto id = anyTrack();
    auto& track = tracks.at(id);
    if (writers.contains(id) && !flush(id)) {
        return;
    }
    writers.erase(id);
    const auto wanted = anySize();
    note("  " + trackName(id) + " from " + std::to_string(track.size()) + " to " +
         std::to_string(wanted));
    track.resizing(wanted);
    std::uint64_t reached = 0;
    const auto outcome = whenFree([&] { return client().resize(id, wanted, reached); });
    if (isExpected(outcome, "resizing " + trackName(id))) {
        track.resized(reached);
    }
}

void Sequence::setProperties() {
    const auto id = anyTrack();
    auto& track = tracks.at(id);
    const Properties changes{{"name " + std::to_string(below(5)), std::to_string(random())},
                             {"Large", std::string(below(5000), 'x')}};
    auto wanted = track.properties();
    for (const auto& [name, value] : changes) {
        wanted[name] = value;
    }
    note("  " + trackName(id));
    track.changing(wanted);
    if (isExpected(client().setProperties(id, changes), "properties of " + trackName(id))) {
        track.changed();
    }
}

void Sequence::removeProperty() {
    const auto id = anyTrack();
    auto& track = tracks.at(id);
    auto wanted = track.properties();
    if (wanted.empty()) {
        return;
    }
    const auto name = wanted.begin()->first;
    wanted.erase(name);
    note("  " + trackName(id));
    track.changing(wanted);
    if (isExpected(client().removeProperty(id, name), "removing a property of " + trackName(id))) {
        track.changed();
    }
}

void Sequence::create() {
    if (tracks.size() >= mostTracks) {
        return;
    }
    const auto size = anySize();
    std::int64_t id = -1;
    openCreation = size;
    if (!isExpected(client().create(size, id), "creating a track")) {
        return;
    }
    openCreation.reset();
    note("  " + trackName(id) + " of " + std::to_string(size));
    if (id <= lastId) {
        complain(trackName(id) + " is new, and its number was given before");
    }
    lastId = std::max(lastId, id);
    tracks.emplace(id, TrackModel(id, size));
}

// Two always stay.
void Sequence::destroy() {
    if (tracks.size() <= 2) {
        return;
    }
    const auto id = anyTrack();
    writers.erase(id);
    note("  " + trackName(id));
    openDestruction = id;
    const auto outcome = whenFree([&] { return client().destroy(id); });
    if (isExpected(outcome, "destroying " + trackName(id))) {
        openDestruction.reset();
        tracks.erase(id);
    }
}

void Sequence::flushAll() {
    for (const auto& [id, writer] : writers) {
        if (problems.empty() && writer) {
            flush(id);
        }
    }
}

}  // namespace tarn::storage_sequences
