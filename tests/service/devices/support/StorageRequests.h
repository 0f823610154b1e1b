#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "proto/loop_storage.pb.h"

/// The requests that API clients make to a loop storage.
namespace tarn::test::storage_requests {

using Request = proto::loop_storage::Request;

Request ticketStatus(std::int64_t ticket);
Request createTrack(std::uint64_t size);
Request resizeTrack(std::int64_t track, std::uint64_t size);
Request clearTrack(std::int64_t track);
Request destroyTrack(std::int64_t track);
Request setProperties(std::int64_t track, const std::map<std::string, std::string>& properties);
Request trackSize(std::int64_t track);
Request remainingSpace();
Request properties(std::int64_t track);
Request workers();
Request evictWorker(std::int64_t worker);
Request removeProperties(std::int64_t track, const std::vector<std::string>& names);

/// The ticket of a change of a track that was taken on; 0 where there is none.
std::int64_t ticketIn(const proto::loop_storage::Reply& reply);

}  // namespace tarn::test::storage_requests
