#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

namespace tarn::failing_disk {

enum class Operation { Read, Write, Sync, Change };  ///< Change: of names, sizes and room

/// What goes wrong, and with which files.
struct Fault {
    static constexpr int always = -1;

    Operation operation = Operation::Read;
    std::string path = {};  ///< of the file from the disk's root; or of a folder, with its slash
    int error = 0;          ///< an errno; 0: it is done, only slowly
    std::chrono::milliseconds delay{0};
    std::uint64_t from = 0;  ///< bytes: reading and writing that touches none of them goes well
    std::uint64_t to = std::numeric_limits<std::uint64_t>::max();
    int times = always;
};

/// The faults that a disk has at the moment. Any thread.
class Faults {
  public:
    void add(const Fault& fault);
    void clear();

    /// How often an operation was failed or delayed.
    unsigned met() const;

    struct Access {
        Operation operation;
        std::string path;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };
    /// What this operation meets; of several faults, the first error and the longest delay.
    struct Effect {
        int error = 0;
        std::chrono::milliseconds delay{0};
    };
    Effect meet(const Access& access);
    /// Returns earlier when the faults are cleared meanwhile.
    void pause(std::chrono::milliseconds delay);

  private:
    static bool concerns(const Fault& fault, const Access& access);

    mutable std::mutex mutex;  // guards what follows
    std::vector<Fault> faults;
    unsigned count = 0;
    unsigned clearings = 0;
    std::condition_variable cleared;
};

}  // namespace tarn::failing_disk
