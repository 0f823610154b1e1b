#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <utility>

namespace tarn::device_tree {

/// Base of what CopyOnWrite points to.
template <typename T>
using Counted = boost::intrusive_ref_counter<T, boost::thread_safe_counter>;

/// Shares a T with its copies until one of them writes. Copies may be used by different threads.
///
/// A T that nobody else has is written in place. That is free of races: the count can only be one
/// while every reference but this object's own is gone, reading the count acquires what their
/// owners did before, and a new reference can only be made from this object.
template <typename T>
class CopyOnWrite {
  public:
    CopyOnWrite() = default;

    template <typename... Arguments>
    static CopyOnWrite make(Arguments&&... arguments) {
        CopyOnWrite result;
        result.pointer.reset(new T(std::forward<Arguments>(arguments)...));
        return result;
    }

    explicit operator bool() const { return pointer != nullptr; }
    const T& operator*() const { return *pointer; }
    const T* operator->() const { return pointer.get(); }

    /// Valid until this object is copied, changed or destroyed.
    T& writable() {
        if (pointer->use_count() != 1) {
            pointer.reset(new T(static_cast<const T&>(*pointer)));
        }
        return *pointer;
    }

    /// True means the same content; false says nothing.
    bool sharesWith(const CopyOnWrite& other) const { return pointer == other.pointer; }

  private:
    boost::intrusive_ptr<T> pointer;
};

}  // namespace tarn::device_tree
