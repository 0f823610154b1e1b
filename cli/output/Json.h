#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace google::protobuf {
class Message;
}

namespace tarn::cli {

/// A message as JSON in protobuf's own mapping, with the field names of the definitions; 64-bit
/// integers are text there. Fields that are not set are left out. Bytes of a text that are no UTF-8
/// become U+FFFD.
nlohmann::ordered_json toJson(const google::protobuf::Message& message);

/// Bytes that are no UTF-8 become U+FFFD, so that what is printed is always JSON. Control
/// characters and what turns the writing direction are escaped as \uNNNN: it may be read on a
/// terminal.
std::string pretty(const nlohmann::ordered_json& document);
std::string oneLine(const nlohmann::ordered_json& document);

}  // namespace tarn::cli
