#pragma once

#include "peers/job_runtime/SetupProtocol.h"

namespace tarn::peers {

/// A job's setup. The persistent file's content is the request as it came, and names the file that
/// it is in.
class WorkflowSetup : public SetupProtocol {
  public:
    std::unique_ptr<google::protobuf::Message> newRequest() const override;
    JobSetup read(const google::protobuf::Message& request) const override;
    std::unique_ptr<google::protobuf::Message> makeReply(
        const SetupVerdict& verdict) const override;
};

}  // namespace tarn::peers
