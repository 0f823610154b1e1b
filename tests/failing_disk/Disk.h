#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tests/failing_disk/Faults.h"
#include "tests/failing_disk/FileContent.h"
#include "tests/failing_disk/Folder.h"

namespace tarn::failing_disk {

/// A disk with one file system, in memory, that keeps what programs see apart from what would be
/// there without power. It promises what POSIX does and no more: bytes and length of a file are on
/// the disk after its sync, names after that of their folder.
///
/// Everything may throw std::system_error with an errno. Any thread.
class Disk {
  public:
    static constexpr NodeNumber root = 1;

    enum class Kind { File, Folder };
    struct Attributes {
        NodeNumber number = 0;
        Kind kind = Kind::File;
        std::uint64_t size = 0;
    };

    explicit Disk(std::uint64_t capacity) : capacity(capacity) { nodes.emplace(root, Node()); }

    Attributes attributes(NodeNumber number) const;
    Attributes find(NodeNumber folder, const std::string& name) const;
    std::vector<std::pair<std::string, Attributes>> list(NodeNumber folder) const;
    /// From the root, without a slash in front; of a file that has no name any more its last one.
    std::string pathOf(NodeNumber number) const;
    /// The other way; throws where there is nothing.
    NodeNumber at(const std::string& path) const;

    Attributes make(NodeNumber folder, const std::string& name, Kind kind);
    void remove(NodeNumber folder, const std::string& name, Kind kind);
    /// Within one folder.
    void rename(NodeNumber folder, const std::string& from, const std::string& to);

    std::string read(NodeNumber file, std::uint64_t offset, std::size_t size) const;
    void write(NodeNumber file, std::uint64_t offset, std::string_view bytes);
    void resize(NodeNumber file, std::uint64_t size);
    void sync(NodeNumber number);
    /// See FileContent; of a folder nothing reaches the disk.
    void failSync(NodeNumber number, const Luck& hasReached);

    /// Who holds a number can use it though it has no name any more.
    void hold(NodeNumber number);
    void release(NodeNumber number, std::uint64_t times);

    void writeBack(const Luck& reaches);
    void dropCache();
    /// Nobody may use the disk meanwhile, and afterwards nobody a file that is gone.
    void losePower(const Luck& hasReached);

    /// Bytes. What is taken by somebody outside the files counts too.
    std::uint64_t size() const { return capacity; }
    std::uint64_t free() const;
    void setTaken(std::uint64_t bytes);

    Faults& faults() { return trouble; }

  private:
    struct Node {
        std::variant<Folder, FileContent> content = {};
        NodeNumber number = root;
        NodeNumber parent = 0;  // that it has, or had last
        std::string name = {};
        std::uint64_t holders = 0;
        bool hasName = true;
    };

    Node& node(NodeNumber number);
    const Node& node(NodeNumber number) const;
    Folder& folder(NodeNumber number);
    const Folder& folder(NodeNumber number) const;
    FileContent& file(NodeNumber number);
    const FileContent& file(NodeNumber number) const;
    NodeNumber numberOf(NodeNumber parent, const std::string& name) const;
    Attributes describe(NodeNumber number) const;
    void takeName(NodeNumber number);
    bool isGone(const Node& entry) const;
    void forgetWhatIsGone();
    void nameAll(NodeNumber number);
    std::uint64_t room() const;

    const std::uint64_t capacity;
    Faults trouble;

    mutable std::mutex mutex;  // guards what follows
    std::map<NodeNumber, Node> nodes;
    NodeNumber last = root;
    std::uint64_t taken = 0;
};

}  // namespace tarn::failing_disk
