#pragma once

#include <initializer_list>

namespace tarn::os {

/// Several descriptors as one, which is readable when one of them is. They outlive this. Throws
/// std::system_error.
class DescriptorSet {
  public:
    DescriptorSet(std::initializer_list<int> members);
    ~DescriptorSet();
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    int descriptor() const { return number; }

  private:
    const int number;
};

}  // namespace tarn::os
