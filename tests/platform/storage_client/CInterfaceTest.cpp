#include <gtest/gtest.h>

#include "platform/storage_client/tarn_storage.h"
#include "tests/platform/storage_client/UsedFromC.h"

namespace {

TEST(StorageClientTest, CanBeUsedFromC) {
    EXPECT_EQ(use_from_c("/nowhere/socket"), TARN_STORAGE_ERROR_CONNECTION);
}

TEST(StorageClientTest, EveryDestroyTakesNull) {
    tarn_storage_error_destroy(nullptr);
    tarn_storage_connection_destroy(nullptr);
    tarn_storage_worker_list_destroy(nullptr);
    tarn_storage_worker_info_list_destroy(nullptr);
    tarn_storage_track_list_destroy(nullptr);
    tarn_storage_property_list_destroy(nullptr);
    tarn_storage_writer_destroy(nullptr);
    tarn_storage_reader_destroy(nullptr);
}

TEST(StorageClientTest, CallsWithoutAConnectionAreRefused) {
    auto* const error = tarn_storage_error_create();
    EXPECT_EQ(tarn_storage_get_remaining_space(nullptr, error), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_EQ(tarn_storage_track_list_create(nullptr, error), nullptr);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_ARGUMENT);
    tarn_storage_error_destroy(error);
}

}  // namespace
