#pragma once

#include <optional>
#include <string>

#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

/// std::stoi (base 10: leading blanks and a sign are accepted, reading stops at the first
/// character that is no digit), for a text of the file.
///
/// Throws std::invalid_argument or std::out_of_range like std::stoi, but with a text that says
/// what was to be read: `stoi: TcpPorts attribute "from" is not a decimal number: "abc" (line 12)`.
/// Both are also a ProblemSource.
int attributeToInt(const XmlNode& element, const std::string& attribute, const std::string& text);
int elementToInt(const XmlNode& element, const std::string& text);

/// The same where there is no error to tell: nothing for what is no number, or out of range.
std::optional<int> textToInt(const std::string& text);

}  // namespace tarn::service::configuration
