#include "service/configuration/check/ProblemList.h"

#include <algorithm>
#include <utility>

namespace tarn::service::configuration {

void ProblemList::add(ConfigurationProblem problem) {
    if (!isFull()) {
        problems.push_back(std::move(problem));
    }
}

void ProblemList::add(const XmlNode& element, ProblemSeverity severity, const std::string& text) {
    add({.severity = severity,
         .text = text,
         .element = elementName(element),
         .line = elementLine(element)});
}

std::vector<ConfigurationProblem> ProblemList::inFileOrder() const {
    auto sorted = problems;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    return sorted;
}

}  // namespace tarn::service::configuration
