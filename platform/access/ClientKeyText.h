#pragma once

#include <string>

#include "platform/access/ClientKeys.h"

namespace tarn::access {

// Changes of a text with keys of clients. What else stands in it, comments and lines that are none,
// stays as it is.

/// The text with a line more. Throws std::invalid_argument where the key or the name stands in it
/// already, or the entry is none that parseClientKeys would take.
std::string withClientKey(const std::string& text, const ClientKey& added);

/// The text without the lines of a client, by his name or his key. Throws std::invalid_argument
/// where there is no such.
std::string withoutClientKey(const std::string& text, const std::string& nameOrKey);

}  // namespace tarn::access
