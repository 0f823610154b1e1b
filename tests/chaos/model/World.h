#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarn::chaos {

/// A track of the loop storage, as the storage or a device tree tells it.
struct Track {
    std::int64_t size = 0;
    std::int64_t beginning = -1;
    std::int64_t end = -1;
    std::size_t readers = 0;
    std::size_t writers = 0;
    std::set<std::string> readerNames = {};
    std::set<std::string> writerNames = {};

    friend bool operator==(const Track&, const Track&) = default;
};

/// Devices: what is there, or what somebody says is there.
struct Devices {
    std::set<std::string> nodes;  ///< the id of every node below the root but those of tracks
    std::map<std::int64_t, Track> tracks;
    std::set<std::string> inError = {};  ///< of the nodes, devices that are shown so
};

/// What is really there.
struct World {
    struct Launcher {
        pid_t id;
        std::string label;
    };
    struct Pipeline {
        pid_t id;
        pid_t parent;
    };
    /// What a job says of itself at its command endpoint.
    struct Answer {
        std::string id;
        bool persistent = false;
        bool plays = false;
    };
    struct Listed {
        std::string id;
        std::vector<std::string> endpoints;
        std::optional<Answer> answer = {};  ///< nothing: there was none
    };
    struct Stored {
        std::string file;
        std::optional<std::string> id;  ///< nothing: the file is torn
    };

    std::vector<Launcher> launchers = {};
    std::vector<Pipeline> pipelines = {};
    std::vector<std::string> strangers = {};  ///< processes that nobody should have left
    std::vector<Listed> listed = {};
    std::vector<Stored> stored = {};
    std::vector<std::string> sharedSockets = {};  ///< endpoints on which two processes listen

    // Nothing where there was no answer.
    std::optional<Devices> devices = {};    ///< as the devices themselves tell
    std::optional<Devices> tree = {};       ///< as the service tells
    std::optional<Devices> published = {};  ///< as the gateway published last
};

}  // namespace tarn::chaos
