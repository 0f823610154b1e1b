#include "platform/resource_manager/registry/PropertyMatch.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tarn::resource_manager {

namespace {

char folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string folded(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return folded(c); });
    return text;
}

// Both texts come from outside: the time that this takes grows with their lengths, not with the
// product of these.
bool holds(std::string_view candidate, std::string_view wanted) {
    return ::memmem(candidate.data(), candidate.size(), wanted.data(), wanted.size()) != nullptr;
}

bool fits(std::string_view candidate, std::string_view wanted, PropertyMatch::Compared compared) {
    switch (compared) {
        case PropertyMatch::Compared::WholeValue:
            return candidate == wanted;
        case PropertyMatch::Compared::Beginning:
            return candidate.starts_with(wanted);
        case PropertyMatch::Compared::AnyPart:
            return wanted.empty() || holds(candidate, wanted);
    }
    return false;
}

}  // namespace

bool PropertyMatch::holdsFor(const RunningJob& job) const {
    const auto& values = job.getValuesOf(property);
    const auto isFolded = letters == Letters::CaseIgnored;
    const auto sought = isFolded ? folded(value) : value;
    const bool found = std::any_of(values.begin(), values.end(), [&](const std::string& candidate) {
        return isFolded ? fits(folded(candidate), sought, compared)
                        : fits(candidate, sought, compared);
    });
    return found == (wanted == Wanted::Matching);
}

}  // namespace tarn::resource_manager
