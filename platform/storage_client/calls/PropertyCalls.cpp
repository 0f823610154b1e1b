#include <exception>
#include <iterator>
#include <map>
#include <new>
#include <string>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "proto/storage_wire.pb.h"

// Ordered by the bytes of the names, as std::string compares them.
struct tarn_storage_property_list {
    std::map<std::string, std::string> values;
};

namespace {

using namespace tarn::storage_client;
using Values = std::map<std::string, std::string>;

Values::const_iterator at(const Values& values, std::size_t index) {
    return std::next(values.begin(), static_cast<std::ptrdiff_t>(index));
}

ServerConnection::Request requestFor(ServerConnection::Request::Type type, std::int64_t track) {
    ServerConnection::Request request;
    request.set_type(type);
    request.add_track_id(track);
    return request;
}

void change(tarn_storage_connection* connection, const ServerConnection::Request& request) {
    checked(connection).descriptions().forget();
    checked(connection).ask(request);
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

tarn_storage_property_list* tarn_storage_track_get_properties(tarn_storage_connection* connection,
                                                              int64_t track_id,
                                                              tarn_storage_error* error) {
    return guarded<tarn_storage_property_list*>(error, nullptr, [&] {
        auto& server = checked(connection);
        auto list = std::make_unique<tarn_storage_property_list>();
        for (const auto& property : server.descriptions().get(server, track_id).property()) {
            list->values[property.name()] = property.value();
        }
        return list.release();
    });
}

int tarn_storage_track_set_properties(tarn_storage_connection* connection, int64_t track_id,
                                      const tarn_storage_property_list* properties,
                                      tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        if (properties == nullptr) {
            throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no list of properties");
        }
        auto request = requestFor(ServerConnection::Request::SET_PROPERTIES, track_id);
        for (const auto& [name, value] : properties->values) {
            auto* const property = request.add_property();
            property->set_name(name);
            property->set_value(value);
        }
        change(connection, request);
        return 0;
    });
}

int tarn_storage_track_remove_properties(tarn_storage_connection* connection, int64_t track_id,
                                         const char* const* names, size_t count,
                                         tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        auto request = requestFor(ServerConnection::Request::REMOVE_PROPERTIES, track_id);
        for (std::size_t i = 0; i < count; ++i) {
            if (names == nullptr || names[i] == nullptr) {
                throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "A property's name is missing");
            }
            request.add_property()->set_name(names[i]);
        }
        change(connection, request);
        return 0;
    });
}
