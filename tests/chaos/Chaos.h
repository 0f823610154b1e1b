#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/machine/Capture.h"
#include "tests/chaos/machine/LargeDevice.h"
#include "tests/chaos/machine/Machine.h"
#include "tests/chaos/machine/TrackRequests.h"
#include "tests/chaos/model/CaptureBook.h"
#include "tests/chaos/model/Model.h"
#include "tests/chaos/model/TrackBook.h"
#include "tests/storage_sequences/Client.h"
#include "tests/storage_sequences/TrackModel.h"
#include "tests/system/devices/GatewayFollower.h"
#include "tests/system/devices/UpdatesFollower.h"
#include "tests/system/harness/Api.h"

namespace tarn::chaos {

class ComingUp;

/// Does one thing after the other at random, tells the model of it, and compares in the end.
class Chaos {
  public:
    /// `without`: parts of the names of what shall not happen.
    Chaos(unsigned seed, const Places& places, std::vector<std::string> without);

    /// One of each of the things that happen seldom whose name holds `text`, before all others.
    void tour(const std::string& text);
    void runFor(std::chrono::seconds time);

    /// Lets everything come to rest under a new service, compares, and stops it all.
    void conclude();

    /// What was wrong, one line each.
    const std::vector<std::string>& problems() const { return found; }

    /// How often each thing was done.
    std::map<std::string, std::int64_t> figures() const;
    const Model& expectation() const { return model; }
    const Machine& place() const { return machine; }

  private:
    enum class Needs { Nothing, ServiceUp, ServiceDown, StorageUp, StorageDown, BothUp, Capture };
    enum class Frequency { Usual, Seldom };
    struct Action {
        const char* name;
        unsigned weight;
        Needs needs;
        void (Chaos::*run)();
        Frequency frequency = Frequency::Usual;
    };
    static const std::vector<Action>& actions();

    const Action& chooseAction();
    bool isWanted(const Action& action) const;
    bool isPossible(const Action& action) const;
    void act() { perform(chooseAction()); }
    void perform(const Action& action);
    void pause();
    std::size_t below(std::size_t limit) { return random() % limit; }

    // The actions with jobs: JobActions.cpp.
    void submit();
    void submitAndKillService();
    void stopAJob();
    void lookAtJobs();
    void killLauncher();
    void killPipeline();

    // With the loop storage: StorageActions.cpp.
    void killStorage();
    void startStorage();
    void changeTracks();
    void changeTracksAndKillStorage();
    void changeTracksAndKillService();
    void clearTrack();

    // What takes longer: HarshActions.cpp.
    void haltGateway();
    void resubmitAtOnce();
    void takeDescriptorsOfService();
    void takeDescriptorsOfGateway();
    void closeLogOfService();
    void closeLogOfCompanion();

    // With the disk of the storage, and a host: DiskActions.cpp.
    void fillStorageDisk();
    void failReadsOfDiskTrack();
    void slowDiskTrack();
    void strandWriter();

    bool canFail();
    bool isDone(const storage_sequences::Outcome& outcome, const std::string& what);
    void expectFramesGoOn(const std::string& when);
    std::unique_ptr<storage_sequences::Writer> writerOfDiskTrack(
        const service::devices::StorageAddress& address, std::chrono::seconds patience);
    void writeToDiskTrack(storage_sequences::Writer& writer);
    void fillDiskTrack();
    void readDiskTrack();

    std::optional<test::JobAddress> submitAndAwait(const Order& order, test::Api& client,
                                                   ComingUp& comingUp);
    void tellOfOneThatIsNotUp(const ComingUp& job);
    bool endAndAwait(const test::JobAddress& job, test::Api& client);
    bool followerIsTold();
    std::vector<std::string> differencesOfFollower() const;
    void awaitFollower();
    void compareFollowerAfter(const std::function<void()>& before);
    void compareFollower();
    void takeDescriptors(const std::string& endpoint, const std::string& victim,
                         const std::function<bool()>& servesWhoIsIn,
                         const std::function<bool()>& servesNewcomers);

    // With the ingest service: CaptureActions.cpp.
    void killIngest();
    void orderCaptureFormat();
    void orderRefusedCaptureFormat();
    void orderCaptureFormatAndKillService();

    std::optional<Capture::Running> awaitCapture(const std::string& after);
    void endCapture();
    bool hasCapture() const { return !machine.places().ingest.empty(); }

    // With everything else: ChaosActions.cpp.
    void killService();
    void killServiceOften();
    void interruptService();
    void startService();
    void killCompanion();
    void deleteRegistry();
    void damageRegistry();
    void fillDisk();
    void freeDisk();

    // With a device that is too much: OddDeviceActions.cpp.
    void changeOddDevice();

    std::vector<std::int64_t> spareTracks() const;
    TrackChange newTrackChange();
    void note(const TrackChange& change, TrackBook::Outcome outcome);
    Order newOrder();
    test::JobOrder submissionOf(const Order& order) const;
    std::string pipelineOf(const Order& order) const;
    void lookAt(const test::JobAddress& job);
    void lookAtFolder();
    void checkProgramsLive();
    void takeFrameProblems();
    void restartForTheEnd();
    void compareWhenAtRest();
    std::vector<std::string> differences();
    std::vector<std::string> lastingDifferences();
    void stopEverything();
    void complain(const std::string& problem);

    std::mt19937 random;
    Machine machine;
    LargeDevice largeDevice;
    test::GatewayFollower follower;
    test::UpdatesFollower updatesFollower;
    Model model;
    TrackBook book;
    CaptureBook captureBook{Capture::nameOf(Capture::good(Capture::first))};
    storage_sequences::TrackModel diskTrack;
    const std::vector<std::string> without;
    unsigned submissions = 0;
    std::map<std::string, std::int64_t> counts;
    std::vector<std::string> found;
};

}  // namespace tarn::chaos
