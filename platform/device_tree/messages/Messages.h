#pragma once

#include "platform/device_tree/persistent/Content.h"

namespace tarn::device_tree {

CopyOnWrite<Content> contentOf(const tarn::proto::monitoring::DeviceNode& message);

// Into empty messages.
void fill(tarn::proto::monitoring::DeviceNode& message, const Content& content);
void fillWithoutChildren(tarn::proto::monitoring::DeviceNode& message, const Content& content);
void fill(tarn::proto::monitoring::GlobalStatus& message, const GlobalStatus& status);
void fill(tarn::proto::monitoring::NamedStatus& message, const NamedStatus& status);
void fill(tarn::proto::monitoring::Property& message, const Property& property);

}  // namespace tarn::device_tree
