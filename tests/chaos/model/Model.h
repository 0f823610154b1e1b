#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/chaos/model/World.h"

namespace tarn::chaos {

enum class Kind {
    Endless,    ///< plays until it is ended
    Failing,    ///< plays, and fails soon: a persistent one over and over
    Short,      ///< plays, and comes to the end of its stream soon
    Recording,  ///< writes into a track until it is ended or the loop storage is killed
    Playing,    ///< reads a track, likewise
};

enum class Lifetime { Passing, Persistent };

/// A job as it was ordered.
struct Order {
    std::string id;
    std::string label;        ///< what its launcher is called by: its id, or the name of its file
    std::string worker = {};  ///< what the loop storage calls it, if it uses that
    std::int64_t track = 0;   ///< and which track it uses
    Kind kind = Kind::Endless;
    Lifetime lifetime = Lifetime::Passing;
};

/// What must be there in the end, whatever was done on the way. The driver tells what it does and
/// what it sees; the end is a service that has just been started and has come to rest.
///
/// Nothing is demanded of a job of which nothing was seen: an answered submission is accepted, not
/// launched. From then on:
///
/// - A persistent job whose file was seen runs in the end, once, whatever was killed, interrupted,
///   damaged or stopped: the next start of the service brings it back. Only the answered order to
///   end for good ends it, and then it never runs again, even if its launcher is killed before it
///   could act on the order. An order without an answer leaves both open.
/// - A persistent job without a file (the disk was full, or it came too late) says so itself, and
///   is then as one that is not persistent.
/// - A job that is not persistent runs on once it was seen playing, and is over when its launcher
///   or its pipeline process was killed, when it took the order to end, and when a service that
///   lists it was interrupted. A service whose registry was lost may be interrupted before the job
///   has found it: then it may run on.
/// - A job of limited length may be over at any time; one that fails is over if it is not
///   persistent.
///
/// - A job that uses the loop storage fails when that is killed: it is over if it is not
/// persistent.
///   One that is not attached yet, or is seen playing only because it has not noticed, may be over;
///   so may each of them when the storage was held up for long.
///
/// And always: no job runs twice, no pipeline process is without its launcher, nothing else runs,
/// every running job is listed and answers at its endpoint, a file and a persistent job come
/// together, no file is torn.
///
/// The trees of the service and of the gateway hold what the devices themselves say is there: every
/// node and no other, every track with its workers. The workers are the jobs that play, and no
/// others.
class Model {
  public:
    enum class End { UntilNextStart, ForGood };
    enum class Answer { Taken, None };

    /// A second time once the job was told to end and is not listed any more: it is then a new one.
    void submitted(const Order& order);

    /// The job plays, in the launcher `launcher`, and the service lists it.
    void sawPlaying(const std::string& id, pid_t launcher);
    /// Its file is there.
    void sawFile(const std::string& id);
    void stopped(const std::string& id, End end, Answer answer);

    void launcherKilled(const std::string& label, pid_t launcher);
    void pipelineKilled(const std::string& label, pid_t launcher);

    void storageKilled();
    /// It was silent for so long that whoever uses it may have given up.
    void storageHeldUp();

    /// Before a start of the service.
    void registryLost();
    /// It ended in order.
    void serviceInterrupted();

    /// What is wrong with this world, one line each; empty when all is as it must be.
    std::vector<std::string> problemsWith(const World& world) const;

    std::size_t jobs() const { return known.size(); }
    /// How many must run in the end.
    std::size_t mustRun() const;
    /// How many must not.
    std::size_t mustBeOver() const;

    /// Nothing for a job that was not submitted.
    std::optional<std::string> labelOf(const std::string& id) const;

  private:
    enum class Fate { Open, Runs, Over };
    struct Job {
        Order order;
        Fate fate = Fate::Open;
        pid_t launcher = 0;      // where it was seen last
        bool listed = false;     // by a service that still has its registry
        bool endIsOpen = false;  // it may have been ended, nobody knows: it stays open
    };
    using Problems = std::vector<std::string>;

    static bool usesStorage(const Job& job) { return !job.order.worker.empty(); }
    static bool isPersistent(const Job& job) { return job.order.lifetime == Lifetime::Persistent; }
    Job* find(const std::string& id);
    Job* findByLabel(const std::string& label);
    void killed(const std::string& label, pid_t launcher);

    void checkJob(const Job& job, const World& world, Problems& problems) const;
    void checkProcesses(const World& world, Problems& problems) const;
    void checkList(const World& world, Problems& problems) const;
    void checkFiles(const World& world, Problems& problems) const;
    void checkWorkers(const World& world, Problems& problems) const;

    std::map<std::string, Job> known;  // by id
};

}  // namespace tarn::chaos
