#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/access/Level.h"
#include "platform/access/ListFile.h"
#include "platform/socket/KeyPolicy.h"
#include "platform/utils/Synchronised.h"

namespace tarn::access {

/// A client who may connect over TCP.
struct ClientKey {
    Level level = Level::None;
    std::string key;  ///< public, in Z85
    std::string name;
    unsigned line = 0;  ///< in the file, from 1

    friend bool operator==(const ClientKey&, const ClientKey&) = default;
};

/// What a text with keys of clients says. A line is "LEVEL KEY NAME", is empty, or begins with "#".
struct ClientKeyList {
    std::vector<ClientKey> keys;
    std::vector<std::string> problems;  ///< of the lines that give nobody anything: "line 3: ..."
};

/// Reads a text. A line that is none gives nobody anything and costs the others nothing; of two
/// lines for one key the lower level counts.
ClientKeyList parseClientKeys(std::string_view text);

/// Whether a client can be called so: 1 to 64 letters, digits, and "._@-".
bool isClientName(std::string_view name);

/// The clients whose keys stand in a file, as it is at the moment: it is read again when it has
/// changed. One that is not there, or cannot be read, lets nobody in. Any thread, but for
/// descriptor and refresh.
class ClientKeys : public socket::KeyPolicy {
  public:
    /// Reads the file; what is wrong with it is logged. `ownKey` is that of this process, or empty.
    ClientKeys(std::string file, std::string ownKey);

    /// Of who has the key: admin for this process's own, none for one that is not known.
    Level levelOf(const std::string& key) const;

    bool admits(const std::string& key, socket::Entrance entrance) const override;
    int descriptor() const override { return file.descriptor(); }
    bool refresh() override;

  private:
    using Levels = std::map<std::string, Level, std::less<>>;

    std::optional<Levels> read();

    ListFile file;
    const std::string ownKey;
    mutable utils::Synchronised<Levels> levels;
};

/// The level of who has proved a key, by the clients of this process; none where it has no such.
Level levelOfKey(const std::string& key);

/// From now on levelOfKey goes by these.
void useClientKeys(std::shared_ptr<const ClientKeys> keys);

}  // namespace tarn::access
