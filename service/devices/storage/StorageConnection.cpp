#include "service/devices/storage/StorageConnection.h"

#include <new>

namespace tarn::service::devices {

StorageError::StorageError() : error(tarn_storage_error_create()) {
    if (!error) {
        throw std::bad_alloc();
    }
}

StorageConnection connectStorage(const StorageAddress& address, StorageError& error) {
    const char* const place = address.address.c_str();
    StorageConnection connection(
        address.port != 0 ? tarn_storage_connection_create_tcp(place, address.port, 0, error.get())
                          : tarn_storage_connection_create_uds(place, error.get()));
    if (error.isSet()) {
        connection.reset();
    }
    return connection;
}

}  // namespace tarn::service::devices
