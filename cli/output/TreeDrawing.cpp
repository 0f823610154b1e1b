#include "cli/output/TreeDrawing.h"

#include <string>

#include "cli/output/DeviceWords.h"
#include "proto/monitoring.pb.h"

namespace tarn::cli {

using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;

namespace {

Style styleOf(GlobalStatus::Level level) {
    switch (level) {
        case GlobalStatus::OK:
            return Style::Good;
        case GlobalStatus::WARNING:
            return Style::Warning;
        case GlobalStatus::ERROR:
            return Style::Bad;
        case GlobalStatus::UNKNOWN:
            break;
    }
    return Style::Faint;
}

class Drawing {
  public:
    explicit Drawing(Details details) : details(details) {}

    // `branch` leads to the device, `below` stands in front of all that belongs to it.
    void add(const DeviceNode& device, const std::string& branch, const std::string& below) {
        addHeadline(device, branch);
        addDetails(device, below + (device.sub_devices().empty() ? "   " : "│  "));
        int left = device.sub_devices_size();
        for (const DeviceNode& child : device.sub_devices()) {
            const bool last = --left == 0;
            add(child, below + (last ? "└─ " : "├─ "), below + (last ? "   " : "│  "));
        }
    }

    std::vector<StyledLine> lines;

  private:
    void addHeadline(const DeviceNode& device, const std::string& branch) {
        auto& line = lines.emplace_back().add(branch, Style::Faint);
        line.add(device.id().empty() ? "(no id)" : device.id(), Style::Bold);
        if (!device.name().empty() && device.name() != device.id()) {
            line.add(" \"" + device.name() + "\"");
        }
        if (device.device_class() != DeviceNode::GENERIC) {
            line.add(" (" + classText(device.device_class()) + ")", Style::Faint);
        }
        const std::string status = globalStatusText(device.global_status());
        if (!status.empty()) {
            line.add("  ").add(status, styleOf(device.global_status().level()));
        }
    }

    void addDetails(const DeviceNode& device, const std::string& lead) {
        for (const auto& status : device.statuses()) {
            lines.emplace_back()
                .add(lead, Style::Faint)
                .add(status.name() + ": ")
                .add(valueText(status));
        }
        if (details == Details::StatusesAndProperties) {
            for (const auto& property : device.properties()) {
                lines.emplace_back()
                    .add(lead, Style::Faint)
                    .add(property.name() + " = " + property.value(), Style::Faint);
            }
        }
    }

    const Details details;
};

}  // namespace

std::vector<StyledLine> drawTree(const DeviceNode& root, Details details) {
    Drawing drawing(details);
    drawing.add(root, "", "");
    return std::move(drawing.lines);
}

}  // namespace tarn::cli
