#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::gateway {

struct ScannedBatch;

/// Makes of each batch the update (TreeUpdate) that goes out on the topic of differences: what the
/// batch says, and how the tree has changed by it. One thread at a time.
///
/// The last tree is orderly, which a difference needs, or is not, or nobody has looked yet. Then,
/// and where a tree is not orderly or a difference makes no sense, all of the tree goes out.
class TreeUpdates {
  public:
    /// The serialised update of a batch that was scanned; `before` is the last tree, as the field
    /// of a batch, or empty. `head` are the gateway's own fields.
    std::string of(std::string_view head, std::string_view batch, const ScannedBatch& scanned,
                   std::string_view before);

    /// What those who have just come get, behind their address: the last tree and where it stands.
    static std::string catchUp(std::string_view head, std::string_view tree);

    /// What a catch-up begins with; no two numbers give the same, or one the beginning of another.
    static std::string address(std::uint64_t newcomer);

    /// All but catch-ups begin with this.
    static const std::string& beginning();
    /// An update that means nothing.
    static const std::string& filler();

  private:
    enum class LastTree { Unknown, Orderly, Disorderly };

    std::string change(std::string_view before, std::string_view after);
    std::string whole(std::string_view node);

    LastTree last = LastTree::Unknown;
};

}  // namespace tarn::gateway
