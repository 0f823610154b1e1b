#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace tarn::device_tree {

/// Bytes that are written from the last to the first: the length of a part is known when what comes
/// in front of it is written.
class ReverseWriter {
  public:
    /// Keeps the memory.
    void clear() { begin = capacity; }

    std::size_t size() const { return capacity - begin; }
    std::string_view view() const { return {memory.get() + begin, size()}; }

    void prepend(std::string_view bytes);

    /// In front of a field's content of this length: what says so.
    void prependFieldHead(int field, std::size_t length);

    /// Room for that many bytes in front, to be filled in. Valid until the next change.
    std::uint8_t* prependRoom(std::size_t size);

  private:
    void grow(std::size_t atLeast);

    std::unique_ptr<char[]> memory;
    std::size_t capacity = 0;
    std::size_t begin = 0;
};

}  // namespace tarn::device_tree
