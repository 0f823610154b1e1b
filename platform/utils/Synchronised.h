#pragma once

#include <mutex>
#include <utility>

namespace tarn::utils {

/// A value and the mutex that guards it: the value cannot be reached without the lock.
template <typename T>
class Synchronised {
  public:
    class Locked {
      public:
        explicit Locked(Synchronised& owner) : guard(owner.mutex), value(owner.value) {}
        T* operator->() { return &value; }
        T& operator*() { return value; }

        /// For condition variables.
        std::unique_lock<std::mutex>& lock() { return guard; }

      private:
        std::unique_lock<std::mutex> guard;
        T& value;
    };

    Synchronised() = default;
    explicit Synchronised(T initial) : value(std::move(initial)) {}

    Locked lock() { return Locked(*this); }

  private:
    std::mutex mutex;
    T value{};
};

}  // namespace tarn::utils
