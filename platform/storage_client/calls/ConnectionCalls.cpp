#include "platform/keys/Fingerprint.h"
#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/Connecting.h"
#include "platform/storage_client/connection/Credentials.h"
#include "platform/storage_client/connection/ServerConnection.h"

namespace {

using tarn::storage_client::Deadline;
using tarn::storage_client::Failure;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds defaultTimeOut(5000);

void checkText(const char* text, const char* what) {
    if (text == nullptr) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, std::string("There is no ") + what);
    }
}

}  // namespace

tarn_storage_connection* tarn_storage_connection_create_tcp(const char* address, uint16_t port,
                                                            unsigned timeout_ms,
                                                            tarn_storage_error* error) {
    using namespace tarn::storage_client;
    return guarded<tarn_storage_connection*>(error, nullptr, [&] {
        checkText(address, "address");
        const auto bound = timeout_ms == 0 ? defaultTimeOut : Milliseconds(timeout_ms);
        const auto connect = [host = std::string(address),
                              port](const tarn::os::Deadline& deadline) {
            return connectTcp(host, port, Credentials::OfProcess().find(host, port), deadline);
        };
        return new tarn_storage_connection(connect, bound);
    });
}

tarn_storage_connection* tarn_storage_connection_create_tls(const char* address, uint16_t port,
                                                            const char* certificate_file,
                                                            const char* fingerprint,
                                                            unsigned timeout_ms,
                                                            tarn_storage_error* error) {
    using namespace tarn::storage_client;
    return guarded<tarn_storage_connection*>(error, nullptr, [&] {
        checkText(address, "address");
        checkText(certificate_file, "certificate");
        checkText(fingerprint, "fingerprint");
        const auto plain = tarn::keys::fingerprintIn(fingerprint);
        if (!plain) {
            throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "A fingerprint has 64 hexadecimal digits");
        }
        const auto bound = timeout_ms == 0 ? defaultTimeOut : Milliseconds(timeout_ms);
        const auto connect = [host = std::string(address), port,
                              protection = Protection{certificate_file, *plain}](
                                 const tarn::os::Deadline& deadline) {
            return connectTcp(host, port, protection, deadline);
        };
        return new tarn_storage_connection(connect, bound);
    });
}

int tarn_storage_set_certificate(const char* file, tarn_storage_error* error) {
    using namespace tarn::storage_client;
    return guarded<int>(error, -1, [&] {
        checkText(file, "certificate");
        Credentials::OfProcess().useCertificate(file);
        return 0;
    });
}

int tarn_storage_set_server(const char* address, uint16_t port, const char* fingerprint,
                            tarn_storage_error* error) {
    using namespace tarn::storage_client;
    return guarded<int>(error, -1, [&] {
        checkText(address, "address");
        checkText(fingerprint, "fingerprint");
        Credentials::OfProcess().knowServer(address, port, fingerprint);
        return 0;
    });
}

tarn_storage_connection* tarn_storage_connection_create_uds(const char* path,
                                                            tarn_storage_error* error) {
    using namespace tarn::storage_client;
    return guarded<tarn_storage_connection*>(error, nullptr, [&] {
        checkText(path, "path");
        const auto connect = [place = std::string(path)](const tarn::os::Deadline& deadline) {
            return connectUnix(place, deadline);
        };
        return new tarn_storage_connection(connect, defaultTimeOut);
    });
}

void tarn_storage_connection_destroy(tarn_storage_connection* connection) {
    delete connection;
}

void tarn_storage_connection_interrupt(tarn_storage_connection* connection) {
    if (connection != nullptr) {
        connection->connection.interrupt();
    }
}
