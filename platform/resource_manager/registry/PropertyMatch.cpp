#include "platform/resource_manager/registry/PropertyMatch.h"

#include <algorithm>
#include <string_view>

namespace tarn::resource_manager {

namespace {

char folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameLetter(char a, char b) {
    return folded(a) == folded(b);
}

template <typename SameCharacter>
bool fits(std::string_view candidate, std::string_view wanted, PropertyMatch::Compared compared,
          SameCharacter same) {
    switch (compared) {
        case PropertyMatch::Compared::WholeValue:
            return candidate.size() == wanted.size() &&
                   std::equal(wanted.begin(), wanted.end(), candidate.begin(), same);
        case PropertyMatch::Compared::Beginning:
            return candidate.size() >= wanted.size() &&
                   std::equal(wanted.begin(), wanted.end(), candidate.begin(), same);
        case PropertyMatch::Compared::AnyPart:
            return wanted.empty() || std::search(candidate.begin(), candidate.end(), wanted.begin(),
                                                 wanted.end(), same) != candidate.end();
    }
    return false;
}

}  // namespace

bool PropertyMatch::holdsFor(const RunningJob& job) const {
    const auto& values = job.getValuesOf(property);
    const bool found =
        std::any_of(values.begin(), values.end(), [this](const std::string& candidate) {
            return letters == Letters::CaseIgnored
                       ? fits(candidate, value, compared, sameLetter)
                       : fits(candidate, value, compared, std::equal_to<>());
        });
    return found == (wanted == Wanted::Matching);
}

}  // namespace tarn::resource_manager
