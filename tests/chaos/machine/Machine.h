#pragma once

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/machine/Capture.h"
#include "tests/chaos/machine/FrameReader.h"
#include "tests/chaos/machine/FrameWriter.h"
#include "tests/chaos/machine/OddDevice.h"
#include "tests/chaos/machine/PersistentFolder.h"
#include "tests/chaos/machine/Places.h"
#include "tests/chaos/machine/Storage.h"
#include "tests/chaos/machine/StorageDisk.h"
#include "tests/support/Process.h"
#include "tests/system/harness/Service.h"

namespace tarn::chaos {

/// A program beside the service that is killed and started again.
struct Companion {
    std::string name;
    std::vector<std::string> command;
    std::unique_ptr<test::Process> run = {};
};

/// The private machine with the server on it: the service and the loop storage, which may be
/// down, their companions, and the files they keep.
class Machine {
  public:
    /// Configures it and starts the storage and the companions, but no service.
    explicit Machine(const Places& places);

    const Places& places() const { return where; }

    bool serviceIsUp() const { return up; }
    /// Starts it and waits until it serves; throws std::runtime_error when it does not.
    void startService();
    void killService();
    test::Ending interruptService();
    test::Service& service() { return *services.back(); }

    StorageDisk& disk() { return tracksDisk; }
    /// One that is written only while the disk does what it should not.
    std::int64_t diskTrack() const { return ofDisk; }
    Storage& storage() { return loops; }
    const Storage& storage() const { return loops; }
    FrameWriter& frames() { return *writer; }
    const FrameWriter& frames() const { return *writer; }
    FrameReader& readFrames() { return *reader; }
    const FrameReader& readFrames() const { return *reader; }
    /// The tracks that stay, and their sizes.
    const std::map<std::int64_t, std::uint64_t>& ownTracks() const { return kept; }
    bool holds(std::int64_t track) const { return kept.contains(track); }
    /// Those into which jobs record.
    const std::vector<std::int64_t>& tracks() const { return jobTracks; }

    std::vector<Companion>& companions() { return others; }
    const Capture& capture() const { return ingest; }

    /// One of them. Being another from now on, it is started again.
    void changeOddDevice(OddDevice::Mode mode);
    const OddDevice& oddDevice() const { return odd; }
    static void start(Companion& companion);
    static void killHard(Companion& companion);
    Companion& gateway() { return others.front(); }

    /// Whatever changes without being told to: the storage, the ingest service, and the companions
    /// but the gateway.
    void haltChanges();
    void continueChanges();

    /// While the service is down.
    static void deleteRegistry();
    static void damageRegistry(std::mt19937& random);

    PersistentFolder& folder() { return jobs; }

    /// The processes of the service, the storage and the companions.
    std::vector<pid_t> programs() const;

    /// Whether one of the last runs of the service logged it.
    bool hasLogged(const std::string& text) const;

    /// Where the job of that label logs.
    static std::string jobLog(const std::string& label);

    /// What the last runs of the service, the storage and all jobs logged, into files there.
    void saveLogs(const std::string& target) const;

  private:
    void signalWhatChanges(int number);
    void makeTracks();
    std::int64_t makeTrack(std::uint64_t size);

    const Places where;
    PersistentFolder jobs;
    StorageDisk tracksDisk;
    Storage loops{where};
    Capture ingest{where};
    std::map<std::int64_t, std::uint64_t> kept;
    std::vector<std::int64_t> jobTracks;
    std::int64_t ofDisk = -1;
    std::unique_ptr<FrameWriter> writer;
    std::unique_ptr<FrameReader> reader;
    std::vector<Companion> others;
    OddDevice odd{where};
    std::deque<std::unique_ptr<test::Service>> services;
    bool up = false;
};

}  // namespace tarn::chaos
