#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/access/Level.h"
#include "platform/access/ListFile.h"
#include "platform/access/TrackRights.h"
#include "platform/utils/Synchronised.h"

namespace tarn::access {

/// A client of a loop storage who may connect over TCP. A value.
struct ClientCertificate {
    Level level = Level::None;
    std::string fingerprint;  ///< as keys::fingerprintIn gives it
    std::string name;
    std::string tracksText = {};             ///< as it stands in the line; empty: none there
    std::optional<TrackRights> tracks = {};  ///< nothing: his level holds for all
    unsigned line = 0;                       ///< in the file, from 1

    /// Whether both may do the same, wherever they stand.
    bool isLike(const ClientCertificate& other) const {
        return level == other.level && name == other.name && tracks == other.tracks;
    }
};

/// What a text with certificates of clients says. A line is "LEVEL FINGERPRINT NAME [TRACKS]", is
/// empty, or begins with "#". TRACKS is what TrackRights reads; who has level admin has all tracks.
struct ClientCertificateList {
    std::vector<ClientCertificate> clients;
    std::vector<std::string> problems;  ///< of the lines that give nobody anything: "line 3: ..."
};

/// Reads a text. A line that is none gives nobody anything and costs the others nothing. A
/// certificate that stands in two lines is let in by neither.
ClientCertificateList parseClientCertificates(std::string_view text);

/// Why the entry is none that a line can have; empty when it is.
std::string problemOf(const ClientCertificate& entry);

// Changes of such a text. What else stands in it, comments and lines that are none, stays.

/// The text with a line more. Throws std::invalid_argument where the certificate or the name stands
/// in it already, or the entry is none.
std::string withClientCertificate(const std::string& text, const ClientCertificate& added);

/// The text without the lines of a client, by his name or his fingerprint. Throws
/// std::invalid_argument where there is no such.
std::string withoutClientCertificate(const std::string& text, const std::string& nameOrFingerprint);

/// The clients that stand in a file, as it is at the moment: it is read again when it has changed.
/// One that is not there, or cannot be read, lets nobody in. Any thread, but for descriptor and
/// refresh.
class ClientCertificates {
  public:
    /// Reads the file; what is wrong with it is logged.
    explicit ClientCertificates(std::string file);

    /// Who has proved to have the certificate; nothing for one who may not connect.
    std::optional<ClientCertificate> find(const std::string& fingerprint) const;

    /// For poll: readable when refresh may find a change. -1: it is to be called now and then.
    int descriptor() const { return file.descriptor(); }
    /// Looks for a change, and takes it; whether there was one. On one thread.
    bool refresh();

  private:
    using Clients = std::map<std::string, ClientCertificate, std::less<>>;
    std::optional<Clients> read();

    ListFile file;
    mutable utils::Synchronised<Clients> clients;
};

}  // namespace tarn::access
