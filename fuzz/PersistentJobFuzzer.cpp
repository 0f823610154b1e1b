// Files in the folder of persistent jobs: whatever such a file holds, it brings back one job with
// the identifier that stands in it, or none; and what reaches the shell is one command of harmless
// words.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz/inputs.pb.h"
#include "fuzz/support/MessageMutator.h"
#include "fuzz/support/PrivateFolder.h"
#include "fuzz/support/QuietLog.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/ShellWords.h"
#include "proto/service_job.pb.h"
#include "service/workflows/WorkflowCreator.h"
#include "tests/service/support/ServiceBed.h"

namespace {

using tarn::fuzz::require;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

/// A service without a shell, over which nothing ever runs.
class Bed {
  public:
    Bed() {
        const auto requests = tarn::socket::SocketEndpoint::FromString("ipc:///tmp/requests");
        service.workflows.init(requests, requests);
        service.onCommand([this](const std::string& command) {
            ++launches;
            require(tarn::fuzz::isHarmlessToShell(
                std::string_view(command).substr(command.find(" -l "))));
            throw std::runtime_error("there is no shell");
        });
        tarn::fuzz::logIntoNothing();
    }

    int restore(const std::string& content) {
        launches = 0;
        service.workflows.regeneratePersistentJob(folder.write("job", content));
        return launches;
    }

  private:
    int launches = 0;
    tarn::fuzz::PrivateFolder folder;
    tarn::test::ServiceBed service;
};

bool mayComeBack(const std::string& content) {
    ServiceToJobRequest request;
    if (!request.ParseFromString(content)) {
        return false;
    }
    const auto& setup = request.GetExtension(ServiceToJobRequestSetup::base);
    const auto& label = setup.persistent_job_name().empty() ? setup.job_description().job_id()
                                                            : setup.persistent_job_name();
    return setup.version() <= ServiceToJobRequestSetup::CURRENT &&
           !setup.job_description().job_id().empty() && label.find('\0') == std::string::npos;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t mostBytes, unsigned seed) {
    tarn::fuzz::PersistentJob input;
    return tarn::fuzz::mutateBytes(input, data, size, mostBytes, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Bed* const bed = new Bed();  // beyond the end of main its sockets cannot be closed
    tarn::fuzz::PersistentJob input;
    input.ParsePartialFromArray(data, static_cast<int>(size));
    const auto content = input.stored().SerializePartialAsString() + input.raw();
    require(bed->restore(content) == (mayComeBack(content) ? 1 : 0));
    return 0;
}
