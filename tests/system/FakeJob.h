#pragma once

#include <optional>
#include <string>

#include "proto/service_job.pb.h"
#include "tests/system/harness/RawSocket.h"
#include "tests/system/harness/Service.h"

namespace tarn::test {

/// The test in the place of a launched job. The configured launcher does nothing; the test learns
/// the new job's private endpoint from the service's log, takes the setup there and answers as it
/// likes.
class FakeJob {
  public:
    /// The section of the configuration file that names a launcher that does nothing.
    static std::string launcherSection();

    /// Waits for the launch of a job whose command holds `label`, and opens its endpoint.
    FakeJob(const Service& service, const std::string& label);

    /// Waits for the setup; nothing when none comes within 5 s.
    std::optional<proto::service_job::ServiceToJobRequestSetup> takeSetup();

    void answer(const proto::service_job::JobToServiceReply& reply);
    void answerBytes(const std::string& bytes);

    const std::string& command() const { return launchCommand; }

  private:
    std::string launchCommand;
    RawSocket socket{RawSocket::Kind::Reply};
};

}  // namespace tarn::test
