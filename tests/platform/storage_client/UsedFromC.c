/* The interface as a C program sees it. */
#include "tests/platform/storage_client/UsedFromC.h"

#include <string.h>

#include "platform/storage_client/tarn_storage.h"

static int connect_nowhere(const char* path) {
    tarn_storage_error* error = tarn_storage_error_create();
    tarn_storage_connection* connection = tarn_storage_connection_create_uds(path, error);
    const int type = tarn_storage_error_get_type(error);
    const int has_message = strlen(tarn_storage_error_get_message(error)) > 0;
    tarn_storage_connection_destroy(connection);
    tarn_storage_error_destroy(error);
    return connection == NULL && has_message ? type : -1;
}

int use_from_c(const char* path) {
    tarn_storage_frame frame = {0};
    tarn_storage_worker_info info = {0};
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    tarn_storage_get_version(&major, &minor, &patch);
    if (frame.size != 0 || sizeof(info.name) != 21 || major == 0) {
        return -1;
    }
    return connect_nowhere(path);
}
