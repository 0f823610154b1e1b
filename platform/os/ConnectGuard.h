#pragma once

#include <string>

namespace tarn::os {

/// Has this process connect to no Unix socket whose listener is not to be trusted
/// (TrustedListener), whoever in it tries: the messaging library, which connects again and again
/// on a thread of its own, or an element of a pipeline. Such an attempt fails with EACCES before a
/// byte is sent.
///
/// For that the C library's `connect` is replaced, in every program that uses this class. What is
/// no stream socket, or has no path (abstract names), is let through.
class ConnectGuard {
  public:
    /// Told of each attempt that was refused, on the thread that tried. Must not throw.
    using Report = void (*)(const std::string& path, const std::string& why);

    /// From now on. Any thread; a later call changes whom it is reported to.
    static void Install(Report report);
};

}  // namespace tarn::os
