#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::utils {

/// Text that goes out at its beginning while more comes at its end. Takes memory in proportion to
/// what waits at most, however much has gone through. One thread at a time.
class PendingText {
  public:
    void append(std::string_view more) { text += more; }

    std::string_view view() const { return std::string_view(text).substr(gone); }
    std::size_t size() const { return text.size() - gone; }
    bool isEmpty() const { return gone == text.size(); }

    /// The first `count` bytes, of `size()` at most, have gone out.
    void drop(std::size_t count) {
        gone += count;
        if (gone > text.size() / 2) {  // each byte is moved once on average
            text.erase(0, gone);
            gone = 0;
        }
    }

    /// What it holds memory for, in bytes.
    std::size_t capacity() const { return text.capacity(); }

  private:
    std::string text;
    std::size_t gone = 0;
};

}  // namespace tarn::utils
