#pragma once

#include <memory>
#include <string_view>

namespace tarn::device_tree {

class DeviceNode;

/// Serialises a tree that is told again and again. What the tree shares with the one before is
/// taken over as bytes: a small change of a large tree costs little more than copying them.
///
/// Keeps the last tree, and its bytes twice. One thread at a time.
class TreeSerialiser {
  public:
    TreeSerialiser();
    ~TreeSerialiser();

    /// The message of `tree`, byte by byte as toProtoBuf() would be serialised. Valid until the
    /// next call.
    std::string_view serialise(const DeviceNode& tree);

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

}  // namespace tarn::device_tree
