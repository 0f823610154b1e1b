#include "cli/events/TreeWatch.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/events/BatchText.h"
#include "cli/output/ClockTime.h"
#include "cli/output/DeviceWords.h"
#include "cli/output/Output.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using proto::monitoring::DeviceNode;
using proto::service_event::ServiceEventBatch;

namespace {

// A question holds up the display, so it is short even where the operator is patient.
constexpr std::chrono::milliseconds longestQuestion(1000);

}  // namespace

TreeWatch::TreeWatch(const TreeOptions& options, const Session& session)
    : options(options),
      session(session),
      bound(std::min(session.service.timeout(), longestQuestion)) {}

BatchListener::Wanted TreeWatch::batch(const ServiceEventBatch& batch,
                                       const BatchSequence::Finding& finding) {
    if (update(batch, finding)) {
        lastNotice.clear();
        show(batch, finding);
    }
    return Wanted::More;
}

// Whether there is something new to be shown.
bool TreeWatch::update(const ServiceEventBatch& batch, const BatchSequence::Finding& finding) {
    if (batch.has_device_tree()) {
        tree = batch.device_tree();
        state = Tree::Current;
        return true;
    }
    if (finding.mayHaveMissed()) {
        state = Tree::MayBeOutdated;
    }
    return state == Tree::MayBeOutdated && askService();
}

bool TreeWatch::askService() {
    try {
        tree = session.service.deviceTree(bound);
        state = Tree::Current;
        return true;
    } catch (const CommandError& error) {
        notice(error.what());
        return false;
    }
}

void TreeWatch::show(const ServiceEventBatch& batch, const BatchSequence::Finding& finding) {
    if (session.format == Format::Json) {
        session.output.documentLine(batchDocument(batch, finding.lost,
                                                  {batch.events().begin(), batch.events().end()},
                                                  shownDevice(tree, options)));
        session.output.flush();
    } else {
        draw();
    }
}

void TreeWatch::notice(const std::string& text) {
    const bool redrawn =
        session.format == Format::Text && session.output.terminal().display == Display::Redraws;
    if (std::exchange(lastNotice, text) == text) {
        return;
    }
    if (redrawn) {
        draw();
    } else {
        session.output.notice(text);
    }
}

void TreeWatch::draw() {
    std::vector<StyledLine> all;
    all.emplace_back()
        .add(clockTime(std::chrono::system_clock::now()), Style::Faint)
        .add("  ")
        .add(lastNotice, Style::Warning);
    const DeviceNode* const device = shownDevice(tree, options);
    if (device == nullptr) {
        all.emplace_back().add("no device " + options.id, Style::Faint);
    } else {
        const auto drawing = drawTree(*device, options.details);
        all.insert(all.end(), drawing.begin(), drawing.end());
    }
    session.output.screen(all);
}

const DeviceNode* shownDevice(const DeviceNode& root, const TreeOptions& options) {
    return options.id.empty() ? &root : findDevice(root, options.id);
}

}  // namespace tarn::cli
