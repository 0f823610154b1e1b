#include "service/configuration/ConfigurationCheck.h"

#include <exception>
#include <memory>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/ConfigurationFileReader.h"
#include "service/configuration/ConfigurationSettings.h"
#include "service/configuration/check/ElementChecks.h"
#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

namespace {

ConfigurationProblem problemOf(const std::exception& failure) {
    const auto* const source = dynamic_cast<const ProblemSource*>(&failure);
    return source != nullptr ? source->problem() : ConfigurationProblem{.text = failure.what()};
}

void checkEnd(const XmlDocument& document, ProblemList& problems) {
    if (const unsigned line = document.lineOfZeroByte()) {
        problems.add({.severity = ProblemSeverity::Warning,
                      .text = "What follows a zero byte is not read",
                      .line = line});
    }
}

void checkElements(const XmlDocument& document, const ConfigurationSettings& settings,
                   ProblemList& problems) {
    if (const XmlNode* const root = firstChildElement(document.top(), "TarnHubConfig")) {
        findUnknownElements(*root, problems);
        checkContents(*root, settings, problems);
    }
}

}  // namespace

// What the reader refuses does not end the search: an operator is to see everything at once.
std::vector<ConfigurationProblem> checkConfigurationFile(const std::string& path) {
    const utils::MessageFormatter owner("ConfigurationHandler");
    ConfigurationSettings settings;
    ConfigurationFileReader reader(settings, owner);

    std::vector<ConfigurationProblem> found;
    std::unique_ptr<XmlDocument> document;
    try {
        document = reader.load(path);
        reader.read(*document, path);
    } catch (const std::exception& failure) {
        found.push_back(problemOf(failure));
    }
    if (document) {
        ProblemList further;
        checkEnd(*document, further);
        checkElements(*document, settings, further);
        const auto sorted = further.inFileOrder();
        found.insert(found.end(), sorted.begin(), sorted.end());
    }
    return found;
}

}  // namespace tarn::service::configuration
