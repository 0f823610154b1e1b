#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::test {

/// How a client reaches a server that wants certificates.
struct TlsAddress {
    std::uint16_t port = 0;
    std::string certificate;  ///< the client's file
    std::string fingerprint;  ///< the server's
};

/// The client library for tests: texts and lists, and the error of the last call.
class StorageClient {
  public:
    explicit StorageClient(const std::string& socketPath);
    StorageClient(std::uint16_t port, unsigned timeOut = 0);
    explicit StorageClient(const TlsAddress& address);
    ~StorageClient();
    StorageClient(const StorageClient&) = delete;
    StorageClient& operator=(const StorageClient&) = delete;

    void interrupt() { tarn_storage_connection_interrupt(connection); }
    bool isConnected() const { return connection != nullptr; }
    int errorType() const { return tarn_storage_error_get_type(error); }
    std::string errorMessage() const { return tarn_storage_error_get_message(error); }

    std::int64_t create(std::uint64_t size);
    std::int64_t resize(std::int64_t track, std::uint64_t size);
    int destroy(std::int64_t track);
    int clear(std::int64_t track);
    std::int64_t size(std::int64_t track);
    std::int64_t beginning(std::int64_t track);
    std::int64_t end(std::int64_t track);
    std::int64_t errors(std::int64_t track);
    std::int64_t remaining();
    std::string failure(std::int64_t track);
    std::int64_t damagedFrames(std::int64_t track);
    int ticketState(std::int64_t ticket);
    std::int64_t awaitTicket(std::int64_t ticket);
    std::vector<std::int64_t> tracks();
    /// "writer 3 camera", "reader 3 player", ...
    std::vector<std::string> workers();
    std::vector<std::int64_t> workerIds();
    std::vector<std::string> workerAddresses();
    int evict(std::int64_t worker);
    int set(std::int64_t track, const std::map<std::string, std::string>& properties);
    int remove(std::int64_t track, const std::vector<std::string>& names);
    std::map<std::string, std::string> properties(std::int64_t track);

    // A client that writes or reads does nothing else.
    bool beWriter(std::int64_t track, const std::string& name = "writer");
    int write(std::int64_t timePoint, const std::string& bytes);
    /// The same in as many pieces.
    int write(std::int64_t timePoint, const std::string& bytes, std::size_t pieces);
    int flush();
    int flushToDisk();
    void beDurable();
    bool beReader(std::int64_t track, int start = TARN_STORAGE_START_OLDEST,
                  std::int64_t timePoint = 0, const std::string& name = "reader");
    /// 1, 0 or -1, as the library says; a frame into the two.
    int read(unsigned timeOut = 5000);
    std::int64_t timePoint = -1;
    std::string bytes;
    std::int64_t oldestTimePoint() const {
        return tarn_storage_reader_get_oldest_time_point(reader);
    }
    std::int64_t unreadableTimePoint() const {
        return tarn_storage_reader_get_unreadable_time_point(reader);
    }

  private:
    template <typename Look>
    auto ofWorkers(Look look);

    tarn_storage_error* const error = tarn_storage_error_create();
    tarn_storage_connection* connection = nullptr;
    tarn_storage_writer* writer = nullptr;
    tarn_storage_reader* reader = nullptr;
};

}  // namespace tarn::test
