#pragma once

#include "platform/device_tree/persistent/Content.h"

namespace tarn::device_tree {

/// `after`, made of what `before` has already wherever that is equal: `before` itself where
/// everything is. Whoever compares the two then passes over all but what has changed. Both are
/// nodes of the same id. Any thread.
CopyOnWrite<Content> sharedWith(const CopyOnWrite<Content>& before,
                                const CopyOnWrite<Content>& after);

}  // namespace tarn::device_tree
