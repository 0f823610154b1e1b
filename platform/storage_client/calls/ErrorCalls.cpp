#include <new>

#include "platform/storage_client/calls/ErrorObject.h"

void tarn_storage_get_version(unsigned* major, unsigned* minor, unsigned* patch) {
    *major = 1;
    *minor = 0;
    *patch = 0;
}

tarn_storage_error* tarn_storage_error_create(void) {
    return new (std::nothrow) tarn_storage_error;
}

void tarn_storage_error_destroy(tarn_storage_error* error) {
    delete error;
}

int tarn_storage_error_get_type(const tarn_storage_error* error) {
    return error->type;
}

const char* tarn_storage_error_get_message(const tarn_storage_error* error) {
    return error->message.c_str();
}
