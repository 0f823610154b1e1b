#include "tests/chaos/model/CaptureBook.h"

namespace tarn::chaos {

std::string CaptureBook::sawRunning(const Format& format) {
    std::string problem;
    if (!possible.contains(format)) {
        problem = "captured is " + format + " in the place of";
        for (const auto& other : possible) {
            problem += " " + other;
        }
    }
    possible = {format};
    return problem;
}

}  // namespace tarn::chaos
