#pragma once

#include <stdexcept>
#include <string>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/check/ConfigurationProblem.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// The file cannot be used. what() is the text for the log, with the header of the component that
/// found it; problem() is the same for an operator, without header.
class ConfigurationError : public std::runtime_error, public ProblemSource {
  public:
    /// An error at an element of the file.
    ConfigurationError(const utils::IMessageFormatter& finder, const std::string& text,
                       const XmlNode& where);

    /// An error of the file as a whole. `hint` is more than the log says, for problem() only; may
    /// be empty. `line` 0: not known.
    ConfigurationError(const utils::IMessageFormatter& finder, const std::string& text,
                       const std::string& hint, unsigned line = 0);
};

}  // namespace tarn::service::configuration
