#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "peers/storage_elements/Location.h"
#include "platform/storage_client/tarn_storage.h"

namespace tarn::peers::storage_elements {

/// Gives an object of the client library back with the function for that.
template <auto Destroy>
struct DestroyWith {
    template <typename T>
    void operator()(T* object) const {
        Destroy(object);
    }
};

using ErrorHandle = std::unique_ptr<tarn_storage_error, DestroyWith<tarn_storage_error_destroy>>;
using ConnectionHandle =
    std::unique_ptr<tarn_storage_connection, DestroyWith<tarn_storage_connection_destroy>>;
using WriterHandle = std::unique_ptr<tarn_storage_writer, DestroyWith<tarn_storage_writer_destroy>>;
using ReaderHandle = std::unique_ptr<tarn_storage_reader, DestroyWith<tarn_storage_reader_destroy>>;

/// Throws std::runtime_error with the library's message when the last call failed.
inline void check(const ErrorHandle& error) {
    if (tarn_storage_error_get_type(error.get()) != TARN_STORAGE_OK) {
        throw std::runtime_error(tarn_storage_error_get_message(error.get()));
    }
}

/// Throws std::runtime_error.
inline ConnectionHandle connectTo(const Location& location, const ErrorHandle& error) {
    const char* const address = location.address.c_str();
    ConnectionHandle connection(
        location.port == 0 ? tarn_storage_connection_create_uds(address, error.get())
        : location.certificate.empty()
            ? tarn_storage_connection_create_tcp(address, location.port, 0, error.get())
            : tarn_storage_connection_create_tls(address, location.port,
                                                 location.certificate.c_str(),
                                                 location.fingerprint.c_str(), 0, error.get()));
    check(error);
    return connection;
}

}  // namespace tarn::peers::storage_elements
