#include "cli/OptionChecks.h"

namespace tarn::cli {

std::string checkProperty(const std::string& text) {
    const auto equals = text.find('=');
    const bool good = equals != std::string::npos && equals > 0;
    return good ? "" : "K=V is expected, with a name in front of the equals sign";
}

}  // namespace tarn::cli
