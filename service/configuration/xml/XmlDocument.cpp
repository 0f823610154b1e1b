#include "service/configuration/xml/XmlDocument.h"

#include <algorithm>
#include <rapidxml/rapidxml.hpp>
#include <utility>

#include "platform/utils/XmlNesting.h"

namespace tarn::service::configuration {

XmlError::XmlError(const std::string& reason, unsigned line)
    : std::runtime_error(reason), lineNumber(line) {}

XmlDocument::XmlDocument(std::string content)
    : original(std::move(content)),
      buffer(original),
      document(std::make_unique<rapidxml::xml_document<char>>()) {
    if (buffer.empty()) {
        throw std::invalid_argument("XmlDocument: no content");
    }
    buffer.back() = '\0';
    refuseDeepNesting();
    parse();
    // An element alone can then tell its line: see elementLine.
    document->name(buffer.data(), buffer.size());
    document->value(original.data(), original.size());
}

XmlDocument::~XmlDocument() = default;

const XmlNode& XmlDocument::top() const {
    return *document;
}

unsigned XmlDocument::lineOfZeroByte() const {
    const auto zero = original.find('\0');
    return zero < original.size() - 1 ? lineAt(zero) : 0;
}

void XmlDocument::refuseDeepNesting() const {
    if (const auto offset = utils::findNestingBeyond(buffer.c_str(), deepestNesting)) {
        throw XmlError("elements are nested more than " + std::to_string(deepestNesting) + " deep",
                       lineAt(*offset));
    }
}

void XmlDocument::parse() {
    try {
        document->parse<rapidxml::parse_default>(buffer.data());
    } catch (const rapidxml::parse_error& error) {
        const auto offset = error.where<char>() - buffer.data();
        throw XmlError(error.what(), lineAt(static_cast<std::size_t>(offset)));
    }
}

unsigned XmlDocument::lineAt(std::size_t offset) const {
    const auto end = original.begin() + static_cast<std::ptrdiff_t>(offset);
    return 1 + static_cast<unsigned>(std::count(original.begin(), end, '\n'));
}

}  // namespace tarn::service::configuration
