#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::test {

/// A loop storage server in this process. While it lives, the functions of the storage client that
/// are linked with it reach it at its address; elsewhere there is nobody. Thread-safe.
class FakeStorage {
  public:
    using Properties = std::map<std::string, std::string>;
    struct Track {
        std::uint64_t size = 0;
        Properties properties = {};
        std::int64_t beginning = -1;
        std::int64_t end = -1;
        std::string failure = {};
        std::int64_t errors = 0;
    };

    explicit FakeStorage(const std::string& path);
    FakeStorage(const std::string& host, std::uint16_t port);
    ~FakeStorage();
    FakeStorage(const FakeStorage&) = delete;
    FakeStorage& operator=(const FakeStorage&) = delete;

    /// The id of the new track; the first one is 0.
    std::int64_t has(const Track& track);
    void has(const tarn_storage_worker_info& worker);
    void hasSpace(std::int64_t bytes);
    void hasTicket(std::int64_t ticket, int state);

    /// Nobody answers any more, not even on connections that are there; and again.
    void goesDown();
    void comesBack();

    /// The function of that name reports an error with this message, or does so no more.
    void fails(const std::string& function, const std::string& message);
    void worksAgain(const std::string& function);

    /// Every resizing ends with this size.
    void resizesTo(std::uint64_t bytes);

    /// Slow operations take so long. It passes while somebody waits for their end.
    void operationsTake(std::chrono::milliseconds time);

    /// Slow operations, or the function of that name, do not end before they are let go.
    void holdsOperations();
    void holds(const std::string& function);
    void letsGo();
    /// Waits until that many calls are being held; throws when they do not come.
    void awaitHeld(unsigned count);

    std::map<std::int64_t, Track> tracks();
    unsigned openConnections();
    unsigned connectionsMade();

    /// For the functions of the client.
    struct State {
        std::map<std::int64_t, Track> tracks;
        std::vector<tarn_storage_worker_info> workers;
        std::map<std::int64_t, int> tickets;
        struct Operation {
            std::int64_t result = 0;
            std::chrono::milliseconds left{0};
        };
        std::map<std::int64_t, Operation> operations;  ///< by the tickets given for them
        std::chrono::milliseconds operationsTake{0};
        std::map<std::string, std::string> failures;
        std::int64_t space = 1000000;
        std::int64_t nextTrack = 0;
        std::uint64_t resizedTo = 0;  ///< 0: as asked for
        unsigned openConnections = 0;
        unsigned connectionsMade = 0;
        unsigned held = 0;
        bool down = false;
        std::set<std::string> holds;  ///< names of functions
    };
    /// Waits while this function is held; false when it was interrupted.
    bool waitWhileHeld(const std::string& function, std::unique_lock<std::mutex>& lock,
                       const bool& interrupted);
    void interrupt(bool& interrupted);

    std::mutex mutex;
    State state;  // guarded by mutex

  private:
    std::condition_variable changed;
    const std::string place;
};

}  // namespace tarn::test
