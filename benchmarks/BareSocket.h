#pragma once

#include <string>

namespace tarn::benchmarks {

/// A messaging socket without anything of ours on top: what the measurements are compared with.
/// Throws std::runtime_error.
class BareSocket {
  public:
    enum class Kind { Request, Router };

    BareSocket(Kind kind, const std::string& address);  ///< a router binds, a request side connects
    ~BareSocket();
    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;

    /// Request side: sends and waits 5 seconds at most for the answer, whose size it returns.
    std::size_t ask(const std::string& bytes);

    /// Router: answers every request with `bytes`, for ever.
    [[noreturn]] void answerAlways(const std::string& bytes);

  private:
    void* const context;
    void* const socket;
};

}  // namespace tarn::benchmarks
