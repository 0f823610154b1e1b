#include "cli/Interrupt.h"

namespace tarn::cli {

// What was pressed while it lived does not end the process afterwards.
Interrupt::~Interrupt() {
    while (input.take() != 0) {
    }
}

}  // namespace tarn::cli
