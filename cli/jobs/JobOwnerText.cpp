#include "cli/jobs/JobOwnerText.h"

#include <pwd.h>

#include "proto/api_service.pb.h"

namespace tarn::cli {

std::string ownerText(const proto::api_service::RunningJob& job) {
    if (!job.owner().has_user()) {
        return job.owner().key();
    }
    const auto* const user = ::getpwuid(job.owner().user());
    return user == nullptr ? std::to_string(job.owner().user()) : user->pw_name;
}

}  // namespace tarn::cli
