#pragma once

#include "platform/device_tree/NamedStatus.h"

namespace tarn::device_tree {

/// The value as one of that type. What is out of range becomes the nearest value in it; fractions
/// are cut off; NaN, and a text that is no number, become 0 where the type has no such value.
NamedStatus::Value converted(const NamedStatus::Value& value, NamedStatus::Type type);

/// As == does, but NaN is the same as NaN.
bool isSame(const NamedStatus& a, const NamedStatus& b);

/// As people read it.
std::string textOf(const NamedStatus::Value& value);

}  // namespace tarn::device_tree
