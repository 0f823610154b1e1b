#pragma once

#include <string>
#include <vector>

#include "proto/dictionary.fwd.h"

namespace tarn::dictionary {

struct Component {
    std::string name;
    std::string version;
    std::string kind;
    std::string description;

    friend bool operator==(const Component&, const Component&) = default;
};

/// The components that workflows on this server may use, read from one XML file:
///
///     <ComponentsDictionary>
///         <Component name="x264enc" version="1.22" kind="encoder">H.264 encoder</Component>
///     </ComponentsDictionary>
///
/// Filled once, then only read.
class ComponentsDictionary {
  public:
    /// Beside the logger configuration.
    static constexpr auto localPath =
        "/opt/halden/halden-tarn-service/config/components-dictionary.xml";

    explicit ComponentsDictionary(std::string path = localPath);

    /// Reads the file, replacing what was loaded. False, with the reason in `error` and the
    /// dictionary empty, when the file is missing, over 1 MiB, not XML, without the root element,
    /// or has a component without a name or a name twice. Does not throw.
    bool initFromLocalDictionary(std::string& error);

    const std::vector<Component>& components() const { return loaded; }
    tarn::proto::dictionary::ComponentsDictionary toProtoBuf() const;

  private:
    std::string path;
    std::vector<Component> loaded;
};

}  // namespace tarn::dictionary
