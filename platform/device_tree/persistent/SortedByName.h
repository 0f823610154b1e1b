#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "platform/device_tree/NamedStatus.h"
#include "platform/device_tree/Property.h"

namespace tarn::device_tree {

inline const std::string& nameOf(const Property& property) {
    return property.name;
}

inline const std::string& nameOf(const NamedStatus& status) {
    return status.getName();
}

template <typename T>
bool isBeforeName(const T& item, std::string_view name) {
    return nameOf(item) < name;
}

/// Null when absent.
template <typename T>
const T* findByName(const std::vector<T>& items, std::string_view name) {
    const auto at = std::lower_bound(items.begin(), items.end(), name, isBeforeName<T>);
    return at != items.end() && nameOf(*at) == name ? &*at : nullptr;
}

/// An item of the same name is replaced. Room is made sparingly: most lists are short.
template <typename T>
void putByName(std::vector<T>& items, T item) {
    auto at = std::lower_bound(items.begin(), items.end(), nameOf(item), isBeforeName<T>);
    if (at != items.end() && nameOf(*at) == nameOf(item)) {
        *at = std::move(item);
        return;
    }
    const auto index = at - items.begin();
    if (items.size() == items.capacity()) {
        items.reserve(items.size() + 1 + items.size() / 4);
    }
    items.insert(items.begin() + index, std::move(item));
}

/// Sorts, and keeps the last of those that `isBefore` calls equal.
template <typename T, typename IsBefore>
void sortKeepingLast(std::vector<T>& items, IsBefore isBefore) {
    const auto areOutOfOrder = [&](const T& a, const T& b) { return !isBefore(a, b); };
    if (std::adjacent_find(items.begin(), items.end(), areOutOfOrder) == items.end()) {
        return;  // as it is mostly, and sorting needs memory
    }
    std::stable_sort(items.begin(), items.end(), isBefore);
    const auto firstKept =
        std::unique(items.rbegin(), items.rend(),
                    [&](const T& later, const T& earlier) { return !isBefore(earlier, later); });
    items.erase(items.begin(), firstKept.base());
}

}  // namespace tarn::device_tree
