#pragma once

#include <cstddef>
#include <string_view>

#include "platform/os/FileDescriptor.h"

namespace tarn::utils {

/// Writes to a descriptor of any kind as much as there is room for, and never waits. The flags of
/// the descriptor belong to all processes that share it and are left alone. One thread at a time.
class ImmediateOutput {
  public:
    /// `descriptor` is the caller's and stays open.
    explicit ImmediateOutput(int descriptor);

    /// How many bytes of the text need no further care: those that were written, or all when the
    /// reader has gone or nothing can be written any more.
    std::size_t put(std::string_view text) const;

    /// For poll: writable when put would take something.
    int descriptor() const { return reopened.isOpen() ? reopened.get() : given; }

  private:
    enum class Kind { NeverWaits, Socket, MayWait };

    long putOnce(std::string_view text) const;

    const int given;
    os::FileDescriptor reopened;
    Kind kind = Kind::NeverWaits;
};

}  // namespace tarn::utils
