#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::service::devices {

/// Where a loop storage server is.
struct StorageAddress {
    std::string address;     ///< a host, or the path of a Unix socket
    std::uint16_t port = 0;  ///< 0 for a Unix socket
};

/// Destroys what the storage client library hands out.
struct StorageDeleter {
    void operator()(tarn_storage_error* p) const { tarn_storage_error_destroy(p); }
    void operator()(tarn_storage_connection* p) const { tarn_storage_connection_destroy(p); }
    void operator()(tarn_storage_worker_list* p) const { tarn_storage_worker_list_destroy(p); }
    void operator()(tarn_storage_worker_info_list* p) const {
        tarn_storage_worker_info_list_destroy(p);
    }
    void operator()(tarn_storage_track_list* p) const { tarn_storage_track_list_destroy(p); }
    void operator()(tarn_storage_property_list* p) const { tarn_storage_property_list_destroy(p); }
};

template <typename T>
using StoragePointer = std::unique_ptr<T, StorageDeleter>;

using StorageConnection = StoragePointer<tarn_storage_connection>;

/// How the last call of the library went that was given it.
class StorageError {
  public:
    StorageError();  ///< throws std::bad_alloc

    int type() const { return tarn_storage_error_get_type(error.get()); }
    bool isSet() const { return type() != TARN_STORAGE_OK; }
    std::string message() const { return tarn_storage_error_get_message(error.get()); }

    /// For the library's calls.
    tarn_storage_error* get() { return error.get(); }

  private:
    StoragePointer<tarn_storage_error> error;
};

/// Null, with `error` set, when there is no connection. Takes 5 s at most, and so does every call
/// on the connection that has no bound of its own.
StorageConnection connectStorage(const StorageAddress& address, StorageError& error);

}  // namespace tarn::service::devices
