#pragma once

#include <string>
#include <string_view>

namespace tarn::utils {

/// The text with "***" in the place of what lets somebody in: passwords in URLs, values of
/// properties, parameters and headers whose name says that they are secret (passphrase, password,
/// token, key, streamid and their like, in the ways that pipelines, URLs, JSON, headers and printed
/// messages write them), and the last part of the path of an RTMP URL, which is a stream key.
///
/// A guess by names, made for people who read logs: what has an innocent name is not found. Done
/// for every log line where it is written; to be done for what is told or listed otherwise. Doing
/// it twice changes nothing more. Takes time in proportion to the text.
std::string withoutSecrets(std::string_view text);

/// Whether withoutSecrets may change anything: false for most lines, and quickly.
bool mayHoldSecrets(std::string_view text);

}  // namespace tarn::utils
