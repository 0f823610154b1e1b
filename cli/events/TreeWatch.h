#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/client/Session.h"
#include "cli/events/BatchFollower.h"
#include "cli/output/TreeDrawing.h"
#include "proto/monitoring.pb.h"

namespace tarn::cli {

/// What of the tree is shown, and how.
struct TreeOptions {
    std::string id;  ///< of the device from which on; empty is the root
    Details details = Details::Statuses;
};

/// Shows the device tree again at every change. Where batches hold none, or may have held one that
/// was lost, the service is asked for it. Used by one thread.
class TreeWatch : public BatchListener {
  public:
    /// `options` and the session outlive this.
    TreeWatch(const TreeOptions& options, const Session& session);

    Wanted batch(const proto::service_event::ServiceEventBatch& batch,
                 const BatchSequence::Finding& finding) override;
    void notice(const std::string& text) override;

  private:
    enum class Tree { Current, MayBeOutdated };

    bool update(const proto::service_event::ServiceEventBatch& batch,
                const BatchSequence::Finding& finding);
    bool askService();
    void show(const proto::service_event::ServiceEventBatch& batch,
              const BatchSequence::Finding& finding);
    void draw();

    const TreeOptions& options;
    const Session& session;
    const std::chrono::milliseconds bound;  // of one question
    proto::monitoring::DeviceNode tree;
    Tree state = Tree::MayBeOutdated;
    std::string lastNotice;
};

/// The device of the options; null when it is not in the tree.
const proto::monitoring::DeviceNode* shownDevice(const proto::monitoring::DeviceNode& root,
                                                 const TreeOptions& options);

}  // namespace tarn::cli
