#pragma once

namespace google::protobuf {
class Message;
}

namespace tarn::cli {

/// Puts U+FFFD in the place of each byte that is no UTF-8, in every text of the message, its
/// extensions included. Fields that are bytes by definition stay as they are.
void replaceInvalidUtf8(google::protobuf::Message& message);

}  // namespace tarn::cli
