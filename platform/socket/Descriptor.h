#pragma once

#include <unistd.h>

namespace tarn::socket {

/// Owns a file descriptor, or a negative number that is none.
class Descriptor {
  public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number; }

  private:
    const int number;
};

}  // namespace tarn::socket
