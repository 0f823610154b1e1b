#pragma once

#include <string>
#include <vector>

#include "platform/dictionary/ComponentsDictionary.h"

namespace tarn::dictionary {

/// The components of a dictionary's text. Throws std::runtime_error that says what is wrong, with
/// the line where that is known.
std::vector<Component> parseComponents(const std::string& text);

}  // namespace tarn::dictionary
