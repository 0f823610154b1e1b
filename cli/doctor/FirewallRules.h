#pragma once

#include <cstdint>
#include <string>

namespace tarn::cli {

/// Whether a rule set, as `nft list ruleset` prints it, says anything of a TCP port of this
/// machine: it names the port, alone or in a set or a range, or drops or rejects what comes in
/// unless it is allowed.
bool saysAnythingOf(std::uint16_t port, const std::string& ruleset);

}  // namespace tarn::cli
