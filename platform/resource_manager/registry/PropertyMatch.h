#pragma once

#include <string>

#include "platform/resource_manager/RunningJob.h"

namespace tarn::resource_manager {

/// A question about one of a job's resources: has it a value like this? The resource's name is
/// compared exactly. A job without the resource does not match, so that the negated question holds.
struct PropertyMatch {
    enum class Compared { WholeValue, Beginning, AnyPart };
    enum class Letters { Distinct, CaseIgnored };  ///< CaseIgnored folds ASCII letters only
    enum class Wanted { Matching, NotMatching };

    std::string property;
    std::string value;
    Compared compared = Compared::WholeValue;
    Letters letters = Letters::Distinct;
    Wanted wanted = Wanted::Matching;

    bool holdsFor(const RunningJob& job) const;
};

}  // namespace tarn::resource_manager
