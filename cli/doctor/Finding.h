#pragma once

#include <string>
#include <vector>

namespace tarn::cli {

/// How bad something is. What could not be looked at is a finding, too: whoever asked must not take
/// it for good.
enum class Gravity { Error, Warning, Unseen };

/// Something that is wrong on this machine, and what to do about it.
struct Finding {
    Gravity gravity;
    std::string text;
    std::string remedy;
};
using Findings = std::vector<Finding>;

inline void append(Findings& findings, Findings further) {
    for (auto& finding : further) {
        findings.push_back(std::move(finding));
    }
}

}  // namespace tarn::cli
