// Text from outside on its way to a log, a message or a file name: what comes out can be shown, is
// cut only where a character ends, and is not escaped twice.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/support/Require.h"
#include "platform/utils/EscapedText.h"
#include "platform/utils/Printable.h"
#include "platform/utils/Utf8.h"
#include "service/api/PersistentFileName.h"

namespace {

using namespace tarn::utils;
using tarn::fuzz::require;

bool isShowable(std::string_view text) {
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        const bool isTab = text.front() == '\t';
        if (character.length == 0 || (isUnsafe(character.codePoint) && !isTab)) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

void checkFileName(const std::string& text) {
    require(tarn::service::fileNameProblem(tarn::service::stampedFileName(0, text)).empty());
    if (tarn::service::fileNameProblem(text).empty()) {
        require(text.find('/') == std::string::npos && text.front() != '.');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const auto line = escapeForLog(text);
    require(isShowable(line) && escapeForLog(line) == line);
    require(!isPlainForLog(text) || line == text);
    constexpr std::size_t longest = 20;
    require(isShowable(printable(text, longest)) && isShowable(quotedText(text, longest)));
    const auto whole = replaceInvalidUtf8(text);
    const auto prefix = utf8Prefix(whole, longest);
    require(prefix.size() <= longest && replaceInvalidUtf8(prefix) == prefix);
    checkFileName(text);
    return 0;
}
