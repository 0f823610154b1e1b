#include "platform/device_tree/ReverseWriter.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>

namespace tarn::device_tree {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedOutputStream;

void ReverseWriter::prepend(std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), prependRoom(bytes.size()));
}

void ReverseWriter::prependFieldHead(int field, std::size_t length) {
    const auto tag = WireFormatLite::MakeTag(field, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
    const auto size =
        CodedOutputStream::VarintSize32(tag) + CodedOutputStream::VarintSize64(length);
    auto* const afterTag = CodedOutputStream::WriteVarint32ToArray(tag, prependRoom(size));
    CodedOutputStream::WriteVarint64ToArray(length, afterTag);
}

std::uint8_t* ReverseWriter::prependRoom(std::size_t size) {
    if (size > begin) {
        grow(this->size() + size);
    }
    begin -= size;
    void* const room = memory.get() + begin;
    return static_cast<std::uint8_t*>(room);
}

// What is not written to yet must not become memory in use.
void ReverseWriter::grow(std::size_t atLeast) {
    const auto newCapacity = std::max(atLeast, capacity + capacity / 2);
    auto larger = std::make_unique_for_overwrite<char[]>(newCapacity);
    const auto newBegin = newCapacity - size();
    std::copy(memory.get() + begin, memory.get() + capacity, larger.get() + newBegin);
    memory = std::move(larger);
    capacity = newCapacity;
    begin = newBegin;
}

}  // namespace tarn::device_tree
