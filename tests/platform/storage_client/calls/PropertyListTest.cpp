#include <gtest/gtest.h>

#include "platform/storage_client/tarn_storage.h"

namespace {

struct PropertyListTest : testing::Test {
    ~PropertyListTest() override { tarn_storage_property_list_destroy(list); }
    tarn_storage_property_list* const list = tarn_storage_property_list_create();
};

TEST_F(PropertyListTest, NamesComeInByteOrder) {
    tarn_storage_property_list_set(list, "b", "2");
    tarn_storage_property_list_set(list, "\xc3\xa4", "4");
    tarn_storage_property_list_set(list, "B", "1");
    tarn_storage_property_list_set(list, "ba", "3");
    ASSERT_EQ(tarn_storage_property_list_get_count(list), 4U);
    EXPECT_STREQ(tarn_storage_property_list_get_name(list, 0), "B");
    EXPECT_STREQ(tarn_storage_property_list_get_name(list, 1), "b");
    EXPECT_STREQ(tarn_storage_property_list_get_name(list, 2), "ba");
    EXPECT_STREQ(tarn_storage_property_list_get_name(list, 3), "\xc3\xa4");
    EXPECT_STREQ(tarn_storage_property_list_get_value(list, 3), "4");
}

TEST_F(PropertyListTest, ANameHasOneValue) {
    tarn_storage_property_list_set(list, "a", "old");
    tarn_storage_property_list_set(list, "a", "new");
    EXPECT_EQ(tarn_storage_property_list_get_count(list), 1U);
    EXPECT_STREQ(tarn_storage_property_list_get_value(list, 0), "new");
}

TEST_F(PropertyListTest, OutsideTheListIsNothing) {
    EXPECT_EQ(tarn_storage_property_list_get_name(list, 0), nullptr);
    EXPECT_EQ(tarn_storage_property_list_get_value(list, 7), nullptr);
}

TEST_F(PropertyListTest, ANullTextIsRefused) {
    EXPECT_EQ(tarn_storage_property_list_set(list, nullptr, "x"), -1);
    EXPECT_EQ(tarn_storage_property_list_set(list, "x", nullptr), -1);
    EXPECT_EQ(tarn_storage_property_list_get_count(list), 0U);
}

}  // namespace
