#include "peers/job_runtime/SafeFileName.h"

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

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
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

std::string safeLogText(const std::string& text, std::size_t maxBytes) {
    std::string line;
    for (const char c : text) {
        if (line.size() >= maxBytes) {
            return line + "...";
        }
        isControl(c) ? appendEncoded(line, c) : void(line += c);
    }
    return line;
}

}  // namespace tarn::peers
