#include "service/api/PersistentFileName.h"

#include <algorithm>
#include <array>
#include <climits>

#include "platform/utils/Printable.h"
#include "platform/utils/Utf8.h"

namespace tarn::service {

namespace {

bool fitsFileName(char c) {
    return c != '/' && c != '\0';
}

}  // namespace

std::string stampedFileName(std::time_t now, const std::string& jobName) {
    std::tm local{};
    std::array<char, 100> stamp{};
    const bool formatted = ::localtime_r(&now, &local) != nullptr &&
                           std::strftime(stamp.data(), stamp.size(), "%Y%m%d-%H%M%S", &local) > 0;
    auto name = (formatted ? std::string(stamp.data()) : std::string("unk")) + "_" + jobName;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !fitsFileName(c); }, '_');
    return std::string(utils::utf8Prefix(name, NAME_MAX));
}

std::string fileNameProblem(const std::string& fileName) {
    const bool isName = !fileName.empty() && fileName != "." && fileName != ".." &&
                        std::all_of(fileName.begin(), fileName.end(), fitsFileName);
    if (!isName) {
        return utils::quotedText(fileName) + " is not a file name";
    }
    if (fileName.front() == '.') {
        return utils::quotedText(fileName) + " begins with a dot";
    }
    if (fileName.size() > NAME_MAX) {
        return utils::quotedText(fileName) + " is too long for a file name";
    }
    return {};
}

}  // namespace tarn::service
