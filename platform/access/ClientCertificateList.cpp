#include <algorithm>

#include "platform/access/ClientCertificates.h"
#include "platform/access/ClientKeys.h"
#include "platform/access/ListText.h"
#include "platform/keys/Fingerprint.h"
#include "platform/keys/KeyLines.h"
#include "platform/utils/Printable.h"

namespace tarn::access {

namespace {

using CertificateWords = std::vector<std::string>;

// What stands there is not repeated: it may be a secret that somebody has put into the wrong file.
std::string problemOfWords(const CertificateWords& words) {
    if (words.size() != 3 && words.size() != 4) {
        return "it is not \"LEVEL FINGERPRINT NAME [TRACKS]\"";
    }
    if (!levelNamed(words[0])) {
        return "its level is none of read, operate and admin";
    }
    return keys::fingerprintIn(words[1]) ? "" : "it has no fingerprint of 64 digits";
}

ClientCertificate entryOf(const CertificateWords& words, unsigned line) {
    ClientCertificate entry{.level = *levelNamed(words[0]),
                            .fingerprint = *keys::fingerprintIn(words[1]),
                            .name = words[2],
                            .line = line};
    if (words.size() == 4) {
        entry.tracksText = words[3];
        entry.tracks = TrackRights::Parse(words[3]);
    }
    return entry;
}

// Both go: which of them was meant is not known.
void refuseDoubles(ClientCertificateList& list) {
    std::map<std::string, unsigned> lines;
    for (const auto& client : list.clients) {
        ++lines[client.fingerprint];
    }
    for (const auto& client : list.clients) {
        if (lines[client.fingerprint] > 1) {
            list.problems.push_back("line " + std::to_string(client.line) +
                                    ": its fingerprint stands in another line, too");
        }
    }
    std::erase_if(list.clients, [&](const auto& client) { return lines[client.fingerprint] > 1; });
}

std::set<unsigned> linesOfCertificate(const std::string& text,
                                      const std::string& nameOrFingerprint) {
    const auto fingerprint = keys::fingerprintIn(nameOrFingerprint);
    return linesWhere(text, [&](const CertificateWords& words) {
        return (words.size() == 3 || words.size() == 4) &&
               (words[2] == nameOrFingerprint ||
                (fingerprint && keys::fingerprintIn(words[1]) == fingerprint));
    });
}

}  // namespace

std::string problemOf(const ClientCertificate& entry) {
    if (entry.level == Level::None) {
        return "its level is none of read, operate and admin";
    }
    if (!keys::fingerprintIn(entry.fingerprint)) {
        return "it has no fingerprint of 64 digits";
    }
    if (!isClientName(entry.name)) {
        return "its name is not of 1 to 64 letters, digits, and \"._@-\" alone";
    }
    if (!entry.tracksText.empty() && !TrackRights::Parse(entry.tracksText)) {
        return "its tracks are not like \"3:read,7:write,*:read\"";
    }
    return entry.level == Level::Admin && !entry.tracksText.empty()
               ? "who has the level admin has all tracks"
               : "";
}

ClientCertificateList parseClientCertificates(std::string_view text) {
    ClientCertificateList list;
    for (const auto& line : keys::linesOf(text)) {
        auto problem = problemOfWords(line.words);
        if (problem.empty()) {
            list.clients.push_back(entryOf(line.words, line.number));
            problem = problemOf(list.clients.back());
            if (!problem.empty()) {
                list.clients.pop_back();
            }
        }
        if (!problem.empty()) {
            list.problems.push_back("line " + std::to_string(line.number) + ": " + problem);
        }
    }
    refuseDoubles(list);
    return list;
}

std::string withClientCertificate(const std::string& text, const ClientCertificate& added) {
    const auto problem = problemOf(added);
    require(problem.empty(), problem);
    require(linesOfCertificate(text, added.fingerprint).empty(),
            "the certificate is there already");
    require(linesOfCertificate(text, added.name).empty(),
            utils::quotedText(added.name) + " is there already");
    const auto tracks = added.tracksText.empty() ? "" : " " + added.tracksText;
    return withLine(text, std::string(nameOf(added.level)) + " " + added.fingerprint + " " +
                              added.name + tracks);
}

std::string withoutClientCertificate(const std::string& text,
                                     const std::string& nameOrFingerprint) {
    const auto removed = linesOfCertificate(text, nameOrFingerprint);
    require(!removed.empty(), "there is no client " + utils::quotedText(nameOrFingerprint));
    return withoutLines(text, removed);
}

}  // namespace tarn::access
