#pragma once

#include <vector>

#include "service/configuration/check/ConfigurationProblem.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// Collects problems up to a bound: a file of garbage must not cost time for each piece of it.
class ProblemList {
  public:
    /// Drops the problem when the list is full.
    void add(ConfigurationProblem problem);
    /// The same for one at an element.
    void add(const XmlNode& element, ProblemSeverity severity, const std::string& text);
    bool isFull() const { return problems.size() >= most; }

    /// By line; those without a line first.
    std::vector<ConfigurationProblem> inFileOrder() const;

    static constexpr unsigned most = 100;

  private:
    std::vector<ConfigurationProblem> problems;
};

}  // namespace tarn::service::configuration
