#include "service/api/RequestLevels.h"

#include <gtest/gtest.h>

namespace tarn::service::requests {

namespace {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ApiToServiceRequestJobSubmission;
using tarn::proto::api_service::ApiToServiceRequestLoopStorage;
using Storage = tarn::proto::loop_storage::Request;

Level levelOf(Storage::Type type) {
    ApiToServiceRequest request;
    request.MutableExtension(ApiToServiceRequestLoopStorage::base)
        ->mutable_request()
        ->set_type(type);
    return levelOfStorageRequest(request);
}

TEST(RequestLevelsTest, APersistentJobNeedsMoreThanAnother) {
    ApiToServiceRequest request;
    EXPECT_EQ(levelOfSubmission(request), Level::Operate);
    auto& submission = *request.MutableExtension(ApiToServiceRequestJobSubmission::base);
    submission.set_persistent(false);
    EXPECT_EQ(levelOfSubmission(request), Level::Operate);
    submission.set_persistent(true);
    EXPECT_EQ(levelOfSubmission(request), Level::Admin);
}

TEST(RequestLevelsTest, WhatOnlyAsksAStorageIsRead) {
    for (const auto type :
         {Storage::UNKNOWN, Storage::GET_TICKET_STATUS, Storage::GET_TRACK_SIZE,
          Storage::GET_REMAINING_SPACE, Storage::GET_TRACK_PROPERTIES, Storage::GET_WORKERS}) {
        EXPECT_EQ(levelOf(type), Level::Read) << type;
    }
    EXPECT_EQ(levelOfStorageRequest({}), Level::Read);  // asks for nothing
}

TEST(RequestLevelsTest, WhatMayLoseFramesIsForAdministrators) {
    EXPECT_EQ(levelOf(Storage::SET_TRACK_PROPERTIES), Level::Operate);
    EXPECT_EQ(levelOf(Storage::REMOVE_TRACK_PROPERTIES), Level::Operate);
    for (const auto type : {Storage::CREATE_TRACK, Storage::RESIZE_TRACK, Storage::CLEAR_TRACK,
                            Storage::DESTROY_TRACK, Storage::EVICT_WORKER}) {
        EXPECT_EQ(levelOf(type), Level::Admin) << type;
    }
}

}  // namespace

}  // namespace tarn::service::requests
