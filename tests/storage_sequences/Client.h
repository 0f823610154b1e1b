#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/devices/storage/StorageConnection.h"
#include "tests/storage_sequences/TrackModel.h"

namespace tarn::storage_sequences {

inline std::string trackName(std::int64_t track) {
    return "track " + std::to_string(track);
}

/// How a call went. One that was broken may be done or not.
struct Outcome {
    enum class How { Done, Refused, Broken };
    How how = How::Done;
    int error = 0;  ///< TARN_STORAGE_ERROR_...
    std::string message = {};

    bool isDone() const { return how == How::Done; }
    bool isBroken() const { return how == How::Broken; }
};

/// One attached writer; it is detached when this goes.
class Writer {
  public:
    static std::unique_ptr<Writer> Attach(const service::devices::StorageAddress& address,
                                          std::int64_t track, Outcome& outcome);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    Outcome write(std::int64_t timePoint, std::size_t size);
    Outcome flush();
    Outcome flushToDisk();
    /// From now on each frame is acknowledged from the disk.
    void setDurable();

  private:
    Writer(std::int64_t track, service::devices::StorageConnection connection,
           tarn_storage_writer* writer);

    const std::int64_t track;
    const service::devices::StorageConnection connection;
    tarn_storage_writer* const writer;
};

/// Calls on a server, each on a connection of its own.
class Client {
  public:
    explicit Client(service::devices::StorageAddress address) : address(std::move(address)) {}

    Outcome create(std::uint64_t size, std::int64_t& id) const;
    Outcome destroy(std::int64_t track) const;
    Outcome resize(std::int64_t track, std::uint64_t size, std::uint64_t& reached) const;
    Outcome clear(std::int64_t track) const;
    Outcome setProperties(std::int64_t track, const Properties& changes) const;
    Outcome removeProperty(std::int64_t track, const std::string& name) const;

    Outcome list(std::vector<std::int64_t>& tracks) const;
    /// All but the frames.
    Outcome describe(std::int64_t track, TrackModel::Found& found) const;
    /// From the oldest on to the newest that was there at the beginning; what cannot be read is
    /// left out and counted.
    struct Reading {
        std::vector<TrackModel::Frame> frames;
        std::size_t unreadable = 0;
        std::string reason = {};  ///< of the last one of those
    };
    Outcome read(std::int64_t track, Reading& reading) const;

  private:
    template <typename Call>
    Outcome ask(const Call& call) const;

    const service::devices::StorageAddress address;
};

}  // namespace tarn::storage_sequences
