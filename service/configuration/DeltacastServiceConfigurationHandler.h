#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

class ConfigurationError;

/// One Deltacast SDI ingest service: the template of the command line that starts it, and the
/// capture format that it starts with when no other is known.
/// Filled once; then safe for concurrent readers.
class DeltacastServiceConfigurationHandler : public utils::MessageFormatter {
  public:
    DeltacastServiceConfigurationHandler();

    /// No command line, and the built-in capture format. Keeps whether the handler is valid.
    void reset();

    /// Takes over a `DeltacastService` element. On failure false, with the reason in `error`; what
    /// was read up to there, the rejected value included, stays. Throws std::invalid_argument or
    /// std::out_of_range for a line count or frame rate that is not a number.
    bool parseXml(const XmlNode& node, std::string& error);

    /// The same; throws ConfigurationError on failure.
    void readXml(const XmlNode& node);

    /// The template with its placeholders filled. A value for which that would never end, since it
    /// holds its own placeholder, and one that makes the line longer than `longestCommandLine`
    /// throw std::invalid_argument, which names value and placeholder.
    std::string getCommandLine(const std::string& pixelFormat, const std::string& board0InputList,
                               const std::string& board0InputFrameOffset, std::uint32_t lineCount,
                               const std::string& fieldMode, std::uint32_t frameRate) const;
    std::string getDefaultCommandLine() const;

    /// One line for the configuration report; "Invalid" while parseXml never succeeded.
    std::string toString() const;

    bool isValid() const { return valid; }

    /// The elements that readXml looks for, in its order.
    static std::vector<std::string> elementNames();

    /// In bytes; longer than any that the shell takes.
    static constexpr std::size_t longestCommandLine = std::size_t{1} << 20U;

    static constexpr char inputListPlaceholder[] = "%board0-input-list";
    static constexpr char frameOffsetPlaceholder[] = "%board0-input-frameoffset";

  private:
    struct Element;
    static const std::vector<Element>& elements();

    void readElement(const XmlNode& service, const Element& wanted);
    ConfigurationError failure(const std::string& problem, const XmlNode& where) const;
    std::string fill(const std::string& line, const std::string& placeholder,
                     const std::string& value) const;

    bool valid = false;
    std::string commandLine;
    std::string defaultPixelFormat;
    std::string defaultBoard0InputList;
    std::string defaultBoard0InputFrameOffsetList;
    std::uint32_t defaultLineCount = 0;
    std::string defaultFieldMode;
    std::uint32_t defaultFrameRate = 0;  ///< In hundredths where fractional: 2997 is 29.97.
};

}  // namespace tarn::service::configuration
