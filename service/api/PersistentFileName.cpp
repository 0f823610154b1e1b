#include "service/api/PersistentFileName.h"

#include <array>
#include <climits>

#include "platform/utils/Printable.h"

namespace tarn::service {

std::string stampedFileName(std::time_t now, const std::string& jobName) {
    std::tm local{};
    std::array<char, 100> stamp{};
    const bool formatted = ::localtime_r(&now, &local) != nullptr &&
                           std::strftime(stamp.data(), stamp.size(), "%Y%m%d-%H%M%S", &local) > 0;
    return (formatted ? std::string(stamp.data()) : std::string("unk")) + "_" + jobName;
}

std::string fileNameProblem(const std::string& fileName) {
    const bool isName = !fileName.empty() && fileName != "." && fileName != ".." &&
                        fileName.find('/') == std::string::npos &&
                        fileName.find('\0') == std::string::npos;
    if (!isName) {
        return utils::quotedText(fileName) + " is not a file name";
    }
    if (fileName.size() > NAME_MAX) {
        return utils::quotedText(fileName) + " is too long for a file name";
    }
    return {};
}

}  // namespace tarn::service
