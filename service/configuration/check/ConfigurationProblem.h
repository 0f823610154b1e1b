#pragma once

#include <string>
#include <utility>

namespace tarn::service::configuration {

enum class ProblemSeverity { Error, Warning };

/// Something that is wrong with a configuration file, and where.
struct ConfigurationProblem {
    ProblemSeverity severity = ProblemSeverity::Error;
    std::string text;
    std::string element = {};  ///< Name as written in the file; empty when not known.
    unsigned line = 0;         ///< From 1; 0 when not known.
};

/// Base of the exceptions that know which problem of the file they stand for.
class ProblemSource {
  public:
    virtual ~ProblemSource() = default;
    const ConfigurationProblem& problem() const { return source; }

  protected:
    explicit ProblemSource(ConfigurationProblem problem) : source(std::move(problem)) {}

  private:
    ConfigurationProblem source;
};

}  // namespace tarn::service::configuration
