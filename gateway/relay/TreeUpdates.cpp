#include "gateway/relay/TreeUpdates.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include "gateway/relay/BatchScanner.h"
#include "platform/tree_updates/TreeDiffer.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "platform/utils/MessageFields.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using google::protobuf::io::CodedOutputStream;
using proto::service_event::ServiceEventBatch;
using proto::service_event::TreeUpdate;
using tree_updates::updateTopic;
using Wire = google::protobuf::internal::WireFormatLite;

namespace {

// The number of a field of bytes.
std::string tagOf(int field) {
    return {static_cast<char>(Wire::MakeTag(field, Wire::WIRETYPE_LENGTH_DELIMITED))};
}

std::string fieldHead(int field, std::size_t length) {
    std::string head(10, '\0');
    // libprotobuf writes unsigned bytes.
    auto* const begin = static_cast<std::uint8_t*>(static_cast<void*>(head.data()));
    const auto* const end = CodedOutputStream::WriteVarint64ToArray(length, begin);
    head.resize(static_cast<std::size_t>(end - begin));
    return tagOf(field) + head;
}

std::string fieldOf(int number, std::string_view content) {
    return fieldHead(number, content.size()).append(content);
}

// A tree is kept as the field of a batch.
std::string_view nodeOf(std::string_view tree) {
    utils::MessageFields field(tree);
    return field.next() ? field.bytes() : std::string_view();
}

std::string withoutTree(std::string_view batch, std::string_view tree) {
    if (tree.empty()) {
        return std::string(batch);
    }
    const auto begin = static_cast<std::size_t>(tree.data() - batch.data());
    return std::string(batch.substr(0, begin)).append(batch.substr(begin + tree.size()));
}

std::string treeField(std::string_view node) {
    return fieldOf(TreeUpdate::kDeviceTreeFieldNumber, node);
}

}  // namespace

std::string TreeUpdates::of(std::string_view head, std::string_view batch,
                            const ScannedBatch& scanned, std::string_view before) {
    const auto content = std::string(head) + withoutTree(batch, scanned.tree);
    auto update = updateTopic() + fieldOf(TreeUpdate::kBatchFieldNumber, content);
    return scanned.tree.empty() ? update : update + change(before, scanned.tree);
}

std::string TreeUpdates::change(std::string_view before, std::string_view after) {
    const auto node = nodeOf(after);
    if (last == LastTree::Unknown && !before.empty()) {
        last = tree_updates::isOrderly(nodeOf(before)) ? LastTree::Orderly : LastTree::Disorderly;
    }
    if (before.empty() || last != LastTree::Orderly) {
        return whole(node);
    }
    const auto difference = tree_updates::differenceBetween(nodeOf(before), node);
    if (!difference) {
        return whole(node);
    }
    return difference->empty() ? "" : fieldOf(TreeUpdate::kDifferenceFieldNumber, *difference);
}

std::string TreeUpdates::whole(std::string_view node) {
    last = tree_updates::isOrderly(node) ? LastTree::Orderly : LastTree::Disorderly;
    return treeField(node);
}

std::string TreeUpdates::catchUp(std::string_view head, std::string_view tree) {
    return fieldOf(TreeUpdate::kBatchFieldNumber, head) +
           (tree.empty() ? "" : treeField(nodeOf(tree)));
}

std::string TreeUpdates::address(std::uint64_t newcomer) {
    TreeUpdate counted;
    counted.set_newcomer(newcomer);
    return updateTopic() + counted.SerializeAsString();
}

const std::string& TreeUpdates::beginning() {
    static const std::string bytes = updateTopic() + tagOf(TreeUpdate::kBatchFieldNumber);
    return bytes;
}

const std::string& TreeUpdates::filler() {
    static const std::string bytes = beginning() + '\0';
    return bytes;
}

}  // namespace tarn::gateway
