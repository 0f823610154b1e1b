#pragma once

#include <optional>
#include <string>
#include <vector>

namespace rapidxml {
template <class Ch>
class xml_node;
}

namespace tarn::service::configuration {

/// An element of a parsed file. It points into the XmlDocument, which must outlive it; the texts
/// returned below are copies.
using XmlNode = rapidxml::xml_node<char>;

/// Elements and attributes are found by name, ignoring ASCII case.
std::vector<const XmlNode*> childElements(const XmlNode& parent, const char* name);
std::vector<const XmlNode*> allChildElements(const XmlNode& parent);

/// Null when there is none.
const XmlNode* firstChildElement(const XmlNode& parent, const char* name);

/// The value of the first child node: empty when that has no text, nothing when there is no child.
std::optional<std::string> elementContent(const XmlNode& element);

/// The element's own value: its first piece of character data, empty when there is none.
std::string elementValue(const XmlNode& element);

std::optional<std::string> attributeValue(const XmlNode& element, const char* name);

/// As they are written in the file.
std::vector<std::string> attributeNames(const XmlNode& element);

/// The name as it is written in the file.
std::string elementName(const XmlNode& element);
bool hasName(const XmlNode& element, const std::string& name);

/// The line of the element's start tag, from 1; 0 when the document does not know it.
unsigned elementLine(const XmlNode& element);

}  // namespace tarn::service::configuration
