#pragma once

#include <map>
#include <string>

/// Ordered by the bytes of the names, as std::string compares them.
struct tarn_storage_property_list {
    std::map<std::string, std::string> values;
};
