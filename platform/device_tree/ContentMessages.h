#pragma once

#include "platform/device_tree/Content.h"

namespace tarn::device_tree {

CopyOnWrite<Content> contentOf(const tarn::proto::monitoring::DeviceNode& message);

void fill(tarn::proto::monitoring::DeviceNode& message, const Content& content);

}  // namespace tarn::device_tree
