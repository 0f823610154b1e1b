#pragma once

#include <string>

#include "proto/service_event.pb.h"

namespace tarn::test {

using proto::service_event::ServiceEventBatch;

/// A batch as the service sends it: a tree of a root and a device of this id, and its DEVICE_ADDED.
ServiceEventBatch deviceAdded(const std::string& id);

/// A tree without events.
ServiceEventBatch treeOnly(const std::string& id);

/// A tree with everything in it that a tree can hold, so many devices under its root.
ServiceEventBatch fullTree(int devices);

/// Of the first device under the root; empty without one.
std::string firstDevice(const ServiceEventBatch& batch);

}  // namespace tarn::test
