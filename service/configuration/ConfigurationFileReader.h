#pragma once

#include <memory>
#include <string>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service::configuration {

class XmlDocument;

/// Takes the settings out of the configuration file: those of the settings table.
///
/// Names of elements and attributes are matched ignoring ASCII case, values exactly. Every section
/// may occur any number of times; of a single-valued setting the last occurrence with content wins;
/// unknown elements are ignored. What was read before a failure stays in the settings.
class ConfigurationFileReader {
  public:
    /// Log lines and errors carry the header of `owner`. Both must outlive the reader.
    ConfigurationFileReader(ConfigurationSettings& settings, const utils::IMessageFormatter& owner)
        : settings(settings), owner(owner) {}

    /// Reads and parses a file. Throws ConfigurationError.
    std::unique_ptr<XmlDocument> load(const std::string& path) const;

    /// Parses the bytes of a file, which must not be empty; `path` is for the message. Throws
    /// ConfigurationError.
    std::unique_ptr<XmlDocument> parse(std::string content, const std::string& path) const;

    /// Throws ConfigurationError; std::invalid_argument or std::out_of_range for a port range, line
    /// count or frame rate that is not a number (see XmlNumber.h).
    void read(const XmlDocument& document, const std::string& path);

  private:
    ConfigurationSettings& settings;
    const utils::IMessageFormatter& owner;
};

}  // namespace tarn::service::configuration
