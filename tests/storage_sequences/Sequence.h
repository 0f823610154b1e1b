#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/storage_sequences/Client.h"
#include "tests/storage_sequences/Machine.h"
#include "tests/storage_sequences/TrackModel.h"

namespace tarn::storage_sequences {

/// One random run of what happens to a loop storage: its clients' orders, kills, losses of power
/// and faults of the disk, each compared with the models of the tracks. Repeatable from its seed,
/// but for how far a server has come when it is killed.
class Sequence {
  public:
    Sequence(const Machine::Places& places, Boots& boots, std::uint64_t seed,
             std::set<std::string> without);

    /// The names of what can happen, for `without`.
    static std::vector<std::string> kinds();

    /// Ends with the first thing that is wrong. Those, one line each; none is well.
    std::vector<std::string> run();
    /// What was done, and what the server said.
    std::string story() const;

  private:
    struct Action {
        const char* name;
        unsigned weight;
        void (Sequence::*run)();
    };
    static const std::vector<Action>& actions();

    // What clients do: Sequence.cpp.
    void write();
    void makeDurable();
    void detach();
    void clear();
    void resize();
    void setProperties();
    void removeProperty();
    void create();
    void destroy();
    void look();

    // What ends the server: SequenceCrashes.cpp.
    void kill();
    void killWhileStarting();
    void killWhileBusy();
    void stop();
    void reboot();
    void losePower();
    void losePowerWhileBusy();
    void start();

    // What the disk does: SequenceFaults.cpp.
    void writeBack();
    void failReads();
    void failFrameWrites();
    void failTrack();
    void beSlow();
    void beFull();

    void act();
    void busy();
    void launchAndKill();
    void afterEnd(TrackModel::Loss loss);
    failing_disk::Luck luck();
    void note(const std::string& what) { done.push_back(what); }
    void complain(const std::string& problem) { problems.push_back(problem); }
    bool isExpected(const Outcome& outcome, const std::string& what);
    void compareAll(TrackModel::When when);
    void compareTrack(std::int64_t id, TrackModel& track, TrackModel::When when, bool reads);
    void adoptUnknown(const std::vector<std::int64_t>& listed);
    void checkList(const std::vector<std::int64_t>& listed);
    // A writer that has failed says nothing more that counts, not even when it is flushed.
    bool writeTo(std::int64_t id, unsigned frames);
    bool flush(std::int64_t id);
    void flushAll();
    Writer* writerOf(std::int64_t id);
    Outcome bringToDisk(std::int64_t id);
    void writeDurably(std::int64_t id);
    Outcome whenFree(const std::function<Outcome()>& call) const;
    std::string dataPathOf(std::int64_t id);
    failing_disk::Fault anyTrackFailure(std::int64_t id);
    bool isRefused(const Outcome& outcome, const std::string& what);
    Outcome tryToWrite(std::int64_t id);
    bool noticesFailure(std::int64_t id);
    void useFailedTrack(std::int64_t id);
    void readSome(std::int64_t id);
    void expectOthersGoOn(std::int64_t slow);
    void goOnWith(std::int64_t id);

    std::size_t below(std::size_t limit) { return random() % limit; }
    bool oneIn(std::size_t often) { return below(often) == 0; }
    std::int64_t anyTrack();
    std::int64_t otherThan(std::int64_t track);
    std::uint64_t anySize();
    std::size_t anyFrameSize(const TrackModel& track);
    Client client();
    service::devices::StorageAddress anyAddress();

    std::mt19937_64 random;
    const std::set<std::string> without;
    Machine machine;
    std::map<std::int64_t, TrackModel> tracks;
    std::map<std::int64_t, std::unique_ptr<Writer>> writers;
    std::int64_t lastId = -1;
    std::optional<std::uint64_t> openCreation;  // its size
    std::optional<std::int64_t> openDestruction;
    bool isStruck = false;  // somebody is killing the server: a broken call is no wonder
    std::vector<std::string> done;
    std::vector<std::string> problems;
};

}  // namespace tarn::storage_sequences
