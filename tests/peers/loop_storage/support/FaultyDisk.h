#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "peers/loop_storage/disk/DiskOperations.h"

namespace tarn::test {

/// The disk of this process as long as this lives: the real one, of which single files fail or
/// hang. Files are named by a part of their path. Any thread.
class FaultyDisk : public peers::loop_storage::DiskOperations {
  public:
    enum class Operation { Open, Read, Write, Sync, SyncFolder };
    static constexpr std::size_t wholeFile = static_cast<std::size_t>(-1);

    FaultyDisk();
    ~FaultyDisk() override;

    /// From now on, where it touches one of so many bytes from `offset`.
    void fail(Operation operation, const std::string& file, int error, std::size_t offset = 0,
              std::size_t size = wholeFile);
    void hang(Operation operation, const std::string& file);
    /// Nothing fails or hangs any more; what hung goes on.
    void mend();
    /// Whatever is read has to be got from the disk.
    void forgetMemory();

    /// False when no so many operations hang within a bound.
    bool waitUntilHanging(std::size_t operations);
    /// How many of these went well.
    std::size_t done(Operation operation, const std::string& file) const;

    int open(const char* path, int flags, mode_t mode) override;
    ssize_t read(int file, void* bytes, std::size_t size, off_t offset) override;
    ssize_t readFromMemory(int file, void* bytes, std::size_t size, off_t offset) override;
    ssize_t write(int file, const void* bytes, std::size_t size, off_t offset) override;
    int syncData(int file) override;
    int syncFolder(int folder) override;

  private:
    struct Access {
        Operation operation;
        std::string path;
        std::size_t offset = 0;
        std::size_t size = 0;
    };
    struct Fault {
        Operation operation;
        std::string file;
        int error;  // 0: hangs
        std::size_t offset = 0;
        std::size_t size = wholeFile;
        bool concerns(const Access& access) const;
    };
    int meet(const Access& access);
    bool hangs(const Access& access) const;

    mutable std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    std::vector<Fault> faults;
    std::vector<Access> wentWell;
    std::size_t hanging = 0;
    bool hasMemory = true;
};

}  // namespace tarn::test
