#pragma once

#include <string>

namespace tarn::tree_updates {

/// What to subscribe to for updates (TreeUpdate): all of them begin with these bytes, which are
/// their field `topic`.
const std::string& updateTopic();

}  // namespace tarn::tree_updates
