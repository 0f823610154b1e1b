#include "peers/job_runtime/persistence/SafeFileName.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <string_view>

namespace tarn::peers {

namespace {

constexpr std::size_t maxLength = 100;
constexpr std::string_view kept =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,.-";

void appendEncoded(std::string& text, char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    text += '%';
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
}

std::string hashOf(const std::string& text) {
    const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
    return boost::uuids::to_string(generator(text));
}

}  // namespace

std::string safeFileName(const std::string& text) {
    if (text.empty()) {
        return "unnamed";
    }
    std::string name;
    for (const char c : text) {
        const bool keep = kept.find(c) != std::string_view::npos && !(name.empty() && c == '.');
        keep ? void(name += c) : appendEncoded(name, c);
    }
    return name.size() <= maxLength ? name : name.substr(0, maxLength) + "-" + hashOf(text);
}

}  // namespace tarn::peers
