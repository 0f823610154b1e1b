#include "platform/storage_client/calls/PropertyList.h"

#include <exception>
#include <iterator>
#include <new>

#include "platform/storage_client/tarn_storage.h"

namespace {

using Values = std::map<std::string, std::string>;

Values::const_iterator at(const Values& values, std::size_t index) {
    return std::next(values.begin(), static_cast<std::ptrdiff_t>(index));
}

}  // namespace

tarn_storage_property_list* tarn_storage_property_list_create(void) {
    return new (std::nothrow) tarn_storage_property_list;
}

void tarn_storage_property_list_destroy(tarn_storage_property_list* list) {
    delete list;
}

int tarn_storage_property_list_set(tarn_storage_property_list* list, const char* name,
                                   const char* value) {
    if (list == nullptr || name == nullptr || value == nullptr) {
        return -1;
    }
    try {
        list->values[name] = value;
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

size_t tarn_storage_property_list_get_count(const tarn_storage_property_list* list) {
    return list->values.size();
}

const char* tarn_storage_property_list_get_name(const tarn_storage_property_list* list,
                                                size_t index) {
    return index < list->values.size() ? at(list->values, index)->first.c_str() : nullptr;
}

const char* tarn_storage_property_list_get_value(const tarn_storage_property_list* list,
                                                 size_t index) {
    return index < list->values.size() ? at(list->values, index)->second.c_str() : nullptr;
}
