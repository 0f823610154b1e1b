#pragma once

namespace tarn::resource_manager::test {

/// Signals between a process and its forked children.
class Pipe {
  public:
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    /// One signal lets one wait go on. Waiting fails after 20 seconds.
    bool signal() const;
    bool wait() const;

  private:
    int ends[2] = {};
};

}  // namespace tarn::resource_manager::test
