#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::gateway {

struct ScannedBatch;

/// Makes of batches the updates (TreeUpdate) that go out on the topic of differences: what the
/// batches say, and how the tree has changed by them. One thread at a time.
///
/// The tree that was told last is orderly, which a difference needs, or is not, or nobody has
/// looked yet. Then, and where a tree is not orderly or a difference makes no sense, all of the
/// tree goes out.
class TreeUpdates {
  public:
    /// Adds a batch that was scanned to the next update. `head` are the gateway's own fields,
    /// `before` is the last tree, as the field of a batch, or empty.
    void add(std::string_view head, std::string_view batch, const ScannedBatch& scanned,
             std::string_view before);

    /// Of the batches that have been added; 0 where there is no next update.
    std::size_t waitingBytes() const { return batches.size(); }

    /// The serialised update that leads to the last batch, whose tree, or the last one before it,
    /// is `now`.
    std::string take(std::string_view now);

    /// What those who have just come get, behind their address: the last tree and where it stands.
    /// To be told to those who have all updates.
    static std::string catchUp(std::string_view head, std::string_view tree);

    /// What a catch-up begins with; no two numbers give the same, or one the beginning of another.
    static std::string address(std::uint64_t newcomer);

    /// All but catch-ups begin with this.
    static const std::string& beginning();
    /// An update that means nothing.
    static const std::string& filler();

  private:
    enum class Order { Unknown, Orderly, Disorderly };

    std::string change(std::string_view after);
    std::string whole(std::string_view node);

    std::string batches;      // as fields of an update
    bool hasNewTree = false;  // among the batches; only then:
    std::string told;         // the tree that was told last, as the field of a batch
    Order orderOfTold = Order::Unknown;
};

}  // namespace tarn::gateway
