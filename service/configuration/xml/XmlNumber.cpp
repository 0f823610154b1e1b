#include "service/configuration/xml/XmlNumber.h"

#include <stdexcept>
#include <utility>

#include "platform/utils/Printable.h"
#include "service/configuration/check/ConfigurationProblem.h"

namespace tarn::service::configuration {

namespace {

std::string exceptionText(const ConfigurationProblem& problem) {
    const std::string text = "stoi: " + problem.text;
    return problem.line == 0 ? text : text + " (line " + std::to_string(problem.line) + ")";
}

class NotANumber : public std::invalid_argument, public ProblemSource {
  public:
    explicit NotANumber(const ConfigurationProblem& problem)
        : std::invalid_argument(exceptionText(problem)), ProblemSource(problem) {}
};

class NumberOutOfRange : public std::out_of_range, public ProblemSource {
  public:
    explicit NumberOutOfRange(const ConfigurationProblem& problem)
        : std::out_of_range(exceptionText(problem)), ProblemSource(problem) {}
};

int toInt(const XmlNode& element, const std::string& what, const std::string& text) {
    const auto problem = [&](const char* reason) {
        return ConfigurationProblem{.text = what + reason + utils::quotedText(text),
                                    .element = elementName(element),
                                    .line = elementLine(element)};
    };
    try {
        return std::stoi(text);
    } catch (const std::invalid_argument&) {
        throw NotANumber(problem(" is not a decimal number: "));
    } catch (const std::out_of_range&) {
        throw NumberOutOfRange(problem(" is out of range: "));
    }
}

}  // namespace

int attributeToInt(const XmlNode& element, const std::string& attribute, const std::string& text) {
    return toInt(element, elementName(element) + " attribute \"" + attribute + "\"", text);
}

int elementToInt(const XmlNode& element, const std::string& text) {
    return toInt(element, elementName(element), text);
}

std::optional<int> textToInt(const std::string& text) {
    try {
        return std::stoi(text);
    } catch (const std::logic_error&) {
        return std::nullopt;
    }
}

}  // namespace tarn::service::configuration
