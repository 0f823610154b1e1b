#pragma once

#include <string>

namespace tarn::device_tree {

struct Content;

/// One line a node, each level two blanks further in.
void appendText(std::string& text, const Content& content, unsigned indent);

}  // namespace tarn::device_tree
