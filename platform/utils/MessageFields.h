#pragma once

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <string_view>

namespace tarn::utils {

/// The fields of a serialised message, one after the other, up to its end or to what is no field:
/// for what is looked at without parsing all of it. Copies nothing; the bytes, less than 2 GiB,
/// must live as long as what is found in them.
class MessageFields {
    using Wire = google::protobuf::internal::WireFormatLite;

  public:
    explicit MessageFields(std::string_view message)
        : message(message),
          // libprotobuf reads unsigned bytes.
          input(static_cast<const std::uint8_t*>(static_cast<const void*>(message.data())),
                static_cast<int>(message.size())) {}

    /// Takes the next one; false when there is none, or no whole one.
    bool next() {
        begin = position();
        const auto tag = input.ReadTag();
        field = Wire::GetTagFieldNumber(tag);
        type = Wire::GetTagWireType(tag);
        switch (type) {
            case Wire::WIRETYPE_LENGTH_DELIMITED:
                return tag != 0 && readContent();
            case Wire::WIRETYPE_VARINT:
                return tag != 0 && input.ReadVarint64(&value);
            default:
                return Wire::SkipField(&input, tag);
        }
    }

    /// Whether next has come to the end of the message, and not to what is no field.
    bool isAtEnd() { return input.ConsumedEntireMessage(); }

    int number() const { return field; }
    bool isBytes() const { return type == Wire::WIRETYPE_LENGTH_DELIMITED; }
    bool isBytes(int ofNumber) const { return isBytes() && field == ofNumber; }
    bool isInteger() const { return type == Wire::WIRETYPE_VARINT; }
    bool isInteger(int ofNumber) const { return isInteger() && field == ofNumber; }
    std::string_view bytes() const { return content; }  ///< of text, or of a message
    std::uint64_t integer() const { return value; }

    /// All of the field, its number and length included.
    std::string_view whole() const { return message.substr(begin, position() - begin); }

  private:
    std::size_t position() const { return static_cast<std::size_t>(input.CurrentPosition()); }

    bool readContent() {
        int length = 0;
        if (!input.ReadVarintSizeAsInt(&length)) {
            return false;
        }
        content = message.substr(position(), static_cast<std::size_t>(length));
        return input.Skip(length);
    }

    const std::string_view message;
    google::protobuf::io::CodedInputStream input;
    std::size_t begin = 0;
    int field = 0;
    Wire::WireType type = Wire::WIRETYPE_VARINT;
    std::string_view content;
    std::uint64_t value = 0;
};

}  // namespace tarn::utils
