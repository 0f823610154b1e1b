#include "tests/cli/TarnctlFixture.h"

#include <algorithm>
#include <sstream>

#include "cli/CommandLine.h"
#include "cli/output/Output.h"
#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

CommandResult runLine(const std::vector<std::string>& arguments, Terminal terminal) {
    std::ostringstream out;
    std::ostringstream err;
    Output output(out, err, terminal);
    const ExitStatus status = runCommandLine(arguments, output);
    return {status, out.str(), err.str()};
}

void TarnctlFixture::SetUpTestSuite() {
    test::FakeService service;
    const test::FakeJob job(firstId, "first");
    service.runs(job.entry());
    runLine({"jobs", "show", firstId, "--endpoint", service.endpoint(), "--timeout", "10"});
}

CommandResult TarnctlFixture::tarnctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--endpoint", service.endpoint()});
    if (std::find(arguments.begin(), arguments.end(), "--timeout") == arguments.end()) {
        arguments.insert(arguments.end(), {"--timeout", "10"});
    }
    return runLine(arguments);
}

}  // namespace tarn::cli
