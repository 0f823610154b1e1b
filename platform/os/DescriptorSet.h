#pragma once

#include <initializer_list>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// Several descriptors as one, which is readable when one of them is. They outlive this. Throws
/// std::system_error.
class DescriptorSet {
  public:
    DescriptorSet(std::initializer_list<int> members);

    int descriptor() const { return set.get(); }

  private:
    const FileDescriptor set;
};

}  // namespace tarn::os
