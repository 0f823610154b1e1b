#include "service/configuration/xml/XmlText.h"

#include <algorithm>
#include <functional>
#include <rapidxml/rapidxml.hpp>

namespace tarn::service::configuration {

namespace {

constexpr bool ignoreCase = false;  // the parser's flag asks for case-sensitive matching

std::vector<const XmlNode*> elements(const XmlNode& parent, const char* name) {
    std::vector<const XmlNode*> found;
    for (const XmlNode* node = parent.first_node(name, 0, ignoreCase); node != nullptr;
         node = node->next_sibling(name, 0, ignoreCase)) {
        if (node->type() == rapidxml::node_element) {
            found.push_back(node);
        }
    }
    return found;
}

}  // namespace

std::vector<const XmlNode*> childElements(const XmlNode& parent, const char* name) {
    return elements(parent, name);
}

std::vector<const XmlNode*> allChildElements(const XmlNode& parent) {
    return elements(parent, nullptr);
}

const XmlNode* firstChildElement(const XmlNode& parent, const char* name) {
    return parent.first_node(name, 0, ignoreCase);
}

std::optional<std::string> elementContent(const XmlNode& element) {
    const XmlNode* const child = element.first_node();
    return child == nullptr ? std::nullopt : std::optional<std::string>(child->value());
}

std::string elementValue(const XmlNode& element) {
    return element.value();
}

std::optional<std::string> attributeValue(const XmlNode& element, const char* name) {
    const auto* const attribute = element.first_attribute(name, 0, ignoreCase);
    return attribute == nullptr ? std::nullopt : std::optional<std::string>(attribute->value());
}

std::vector<std::string> attributeNames(const XmlNode& element) {
    std::vector<std::string> names;
    for (const auto* attribute = element.first_attribute(); attribute != nullptr;
         attribute = attribute->next_attribute()) {
        names.emplace_back(attribute->name(), attribute->name_size());
    }
    return names;
}

std::string elementName(const XmlNode& element) {
    return {element.name(), element.name_size()};
}

bool hasName(const XmlNode& element, const std::string& name) {
    return rapidxml::internal::compare(element.name(), element.name_size(), name.data(),
                                       name.size(), ignoreCase);
}

// See XmlDocument: the document's name is the buffer, its value the same text untouched.
unsigned elementLine(const XmlNode& element) {
    const XmlNode* const document = element.document();
    if (document == nullptr || document->name_size() == 0) {
        return 0;
    }
    const char* const begin = document->name();
    const char* const position = element.name();
    const std::less<const char*> before;
    if (before(position, begin) || !before(position, begin + document->name_size())) {
        return 0;
    }
    const char* const text = document->value();
    return 1 + static_cast<unsigned>(std::count(text, text + (position - begin), '\n'));
}

}  // namespace tarn::service::configuration
