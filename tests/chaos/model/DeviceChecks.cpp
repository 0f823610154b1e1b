#include "tests/chaos/model/DeviceChecks.h"

#include <cstdlib>

namespace tarn::chaos {

namespace {

using Problems = std::vector<std::string>;

// A track that is being written has moved on since it was told of; its time points are nanoseconds.
constexpr std::int64_t longestDelay = 5'000'000'000;

std::string joined(const std::set<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

std::string shown(const Track& track) {
    return std::to_string(track.size) + " bytes from " + std::to_string(track.beginning) + " to " +
           std::to_string(track.end) + ", " + std::to_string(track.readers) + " readers " +
           joined(track.readerNames) + ", " + std::to_string(track.writers) + " writers " +
           joined(track.writerNames);
}

bool isTold(const Track& track, Track told) {
    if (track.writers > 0 && std::abs(track.end - told.end) <= longestDelay) {
        told.beginning = track.beginning;
        told.end = track.end;
    }
    return told == track;
}

void compareNodes(const std::string& teller, const Devices& told, const Devices& devices,
                  Problems& problems) {
    for (const auto& id : devices.nodes) {
        if (!told.nodes.contains(id)) {
            problems.push_back(teller + " lacks " + id);
        }
    }
    for (const auto& id : told.nodes) {
        if (!devices.nodes.contains(id)) {
            problems.push_back(teller + " holds what is not there: " + id);
        }
    }
}

void compareErrors(const std::string& teller, const Devices& told, const Devices& devices,
                   Problems& problems) {
    for (const auto& id : devices.inError) {
        if (!told.inError.contains(id)) {
            problems.push_back(teller + " does not show in error: " + id);
        }
    }
    for (const auto& id : told.inError) {
        if (!devices.inError.contains(id)) {
            problems.push_back(teller + " shows in error what is well: " + id);
        }
    }
}

void compareTracks(const std::string& teller, const Devices& told, const Devices& devices,
                   Problems& problems) {
    for (const auto& [id, track] : devices.tracks) {
        const auto found = told.tracks.find(id);
        if (found == told.tracks.end()) {
            problems.push_back(teller + " lacks track " + std::to_string(id));
        } else if (!isTold(track, found->second)) {
            problems.push_back(teller + " shows track " + std::to_string(id) + " with " +
                               shown(found->second) + "; it has " + shown(track));
        }
    }
    for (const auto& [id, track] : told.tracks) {
        if (!devices.tracks.contains(id)) {
            problems.push_back(teller + " holds what is not there: track " + std::to_string(id));
        }
    }
}

void compare(const std::string& teller, const std::optional<Devices>& told, const Devices& devices,
             Problems& problems) {
    if (!told) {
        problems.push_back(teller + " was not told");
        return;
    }
    compareNodes(teller, *told, devices, problems);
    compareErrors(teller, *told, devices, problems);
    compareTracks(teller, *told, devices, problems);
}

}  // namespace

void checkDevices(const World& world, Problems& problems) {
    if (!world.devices) {
        problems.push_back("the devices do not answer");
        return;
    }
    compare("the tree", world.tree, *world.devices, problems);
    compare("the tree of the gateway", world.published, *world.devices, problems);
}

}  // namespace tarn::chaos
