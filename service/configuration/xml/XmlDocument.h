#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "service/configuration/xml/XmlText.h"

namespace rapidxml {
template <class Ch>
class xml_document;
}

namespace tarn::service::configuration {

/// Why a text is not the XML that we read, in the parser's own words, and the line it is about.
class XmlError : public std::runtime_error {
  public:
    XmlError(const std::string& reason, unsigned line);
    unsigned line() const { return lineNumber; }

  private:
    unsigned lineNumber;
};

/// A file's content, parsed in place: every XmlNode lives as long as this and points into it.
///
/// The LAST byte of the content is never parsed: the terminating zero takes its place. It is meant
/// to be the final newline. Parsing ends at the first zero byte before it, if there is one.
class XmlDocument {
  public:
    /// `content` must not be empty. Throws XmlError for what is not well-formed or is nested deeper
    /// than `deepestNesting` (the parser calls itself for each level).
    explicit XmlDocument(std::string content);
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    /// The parent of the root element.
    const XmlNode& top() const;

    /// The line of the zero byte at which parsing ended; 0 when everything was parsed.
    unsigned lineOfZeroByte() const;

    static constexpr unsigned deepestNesting = 200;

  private:
    void refuseDeepNesting() const;
    void parse();
    unsigned lineAt(std::size_t offset) const;

    const std::string original;  // parsing overwrites the buffer; this is for counting lines
    std::string buffer;
    const std::unique_ptr<rapidxml::xml_document<char>> document;
};

}  // namespace tarn::service::configuration
