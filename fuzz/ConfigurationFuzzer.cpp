// The configuration file: whatever its bytes are, it is read or refused, and what was read can be
// used (the filling of its services' command lines comes to an end). A corpus should hold a file
// with elements nested nearly 200 deep.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/ConfigurationFileReader.h"
#include "service/configuration/DeltacastServiceConfigurationHandler.h"
#include "service/configuration/check/ConfigurationReport.h"
#include "service/configuration/check/ElementChecks.h"
#include "service/configuration/xml/XmlDocument.h"

using namespace tarn::service::configuration;

namespace {

unsigned depthBelow(const XmlNode& node) {
    unsigned deepest = 0;
    for (const XmlNode* const child : allChildElements(node)) {
        deepest = std::max(deepest, 1 + depthBelow(*child));
    }
    return deepest;
}

void read(const std::string& content) {
    const tarn::utils::MessageFormatter owner("Fuzzer");
    ConfigurationSettings settings;
    ConfigurationFileReader reader(settings, owner);
    const auto document = reader.parse(content, "fuzzed");
    if (depthBelow(document->top()) > XmlDocument::deepestNesting) {
        std::abort();  // the parser called itself more often than is allowed
    }
    ProblemList problems;
    findUnknownElements(document->top(), problems);
    try {
        reader.read(*document, "fuzzed");
    } catch (const std::logic_error&) {  // a number that is none, or out of range
    }
    configurationReport(settings);
    for (const auto& service : settings.deltacastServices) {
        try {
            service->getDefaultCommandLine();
        } catch (const std::invalid_argument&) {  // a value that cannot be filled in
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;  // refused when the file is read
    }
    try {
        read(std::string(data, data + size));
    } catch (const ConfigurationError&) {
    }
    return 0;
}
