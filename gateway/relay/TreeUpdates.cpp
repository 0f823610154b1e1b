#include "gateway/relay/TreeUpdates.h"

#include <google/protobuf/wire_format_lite.h>

#include <utility>

#include "gateway/relay/BatchScanner.h"
#include "platform/device_tree/ReverseWriter.h"
#include "platform/tree_updates/TreeDiffer.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "platform/utils/MessageFields.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using proto::service_event::TreeUpdate;
using tree_updates::updateTopic;
using Wire = google::protobuf::internal::WireFormatLite;

namespace {

// The number of a field of bytes.
std::string tagOf(int field) {
    return {static_cast<char>(Wire::MakeTag(field, Wire::WIRETYPE_LENGTH_DELIMITED))};
}

std::string fieldOf(int number, std::string_view content) {
    device_tree::ReverseWriter field;
    field.prepend(content);
    field.prependFieldHead(number, content.size());
    return std::string(field.view());
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

void TreeUpdates::add(std::string_view head, std::string_view batch, const ScannedBatch& scanned,
                      std::string_view before) {
    if (!scanned.tree.empty() && !hasNewTree) {
        hasNewTree = true;
        told = before;
    }
    batches += fieldOf(TreeUpdate::kBatchFieldNumber,
                       std::string(head) + withoutTree(batch, scanned.tree));
}

std::string TreeUpdates::take(std::string_view now) {
    auto update = updateTopic() + std::exchange(batches, {});
    return std::exchange(hasNewTree, false) ? update + change(now) : update;
}

std::string TreeUpdates::change(std::string_view after) {
    const auto node = nodeOf(after);
    if (orderOfTold == Order::Unknown && !told.empty()) {
        orderOfTold = tree_updates::isOrderly(nodeOf(told)) ? Order::Orderly : Order::Disorderly;
    }
    if (told.empty() || orderOfTold != Order::Orderly) {
        return whole(node);
    }
    const auto difference = tree_updates::differenceBetween(nodeOf(told), node);
    if (!difference) {
        return whole(node);
    }
    return difference->empty() ? "" : fieldOf(TreeUpdate::kDifferenceFieldNumber, *difference);
}

std::string TreeUpdates::whole(std::string_view node) {
    orderOfTold = tree_updates::isOrderly(node) ? Order::Orderly : Order::Disorderly;
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
