#pragma once

#include "peers/job_runtime/SetupProtocol.h"

namespace tarn::peers {

/// An engine's setup: a job with a new id, whose settings are its pipeline and whose option is in
/// the pipeline's environment as ENGINE_OPTION. Of its four endpoints the first takes commands, the
/// second gives events, the third and fourth are kept for it.
class EngineSetup : public SetupProtocol {
  public:
    std::unique_ptr<google::protobuf::Message> newRequest() const override;
    JobSetup read(const google::protobuf::Message& request) const override;
    std::unique_ptr<google::protobuf::Message> makeReply(
        const SetupVerdict& verdict) const override;
};

}  // namespace tarn::peers
