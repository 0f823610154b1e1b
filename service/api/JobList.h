#pragma once

#include <list>

#include "platform/resource_manager/RunningJob.h"
#include "proto/api_service.pb.h"

namespace tarn::service {

/// The answer to a question for running jobs. Clients ask again and again while the list stays the
/// same: then the records of the last answer are used again. Request thread only.
class JobList {
  public:
    /// `jobs` in their order. Valid until the next call.
    const tarn::proto::api_service::ServiceToApiReply& replyWith(
        std::list<resource_manager::RunningJob> jobs);

  private:
    bool isStillOf(const std::list<resource_manager::RunningJob>& jobs) const;

    std::list<resource_manager::RunningJob> listed;
    tarn::proto::api_service::ServiceToApiReply reply;  // of `listed`, once it has a type
};

}  // namespace tarn::service
