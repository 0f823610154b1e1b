#pragma once

#include <string>

#include "service/configuration/xml/XmlDocument.h"

namespace tarn::service::configuration {

/// The root element of a text.
class ParsedElement {
  public:
    explicit ParsedElement(const std::string& text) : document(text + "\n") {}

    const XmlNode& operator*() const { return *allChildElements(document.top()).at(0); }

  private:
    const XmlDocument document;
};

}  // namespace tarn::service::configuration
