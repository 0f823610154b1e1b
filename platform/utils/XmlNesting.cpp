#include "platform/utils/XmlNesting.h"

#include <cstring>
#include <string_view>

namespace tarn::utils {

namespace {

enum class Tag { Open, SelfClosed, Malformed };

/// Walks over a zero-terminated text; the zero is never passed.
class Scanner {
  public:
    explicit Scanner(const char* text) : position(text) {}

    const char* at() const { return position; }

    bool toNextTag() {
        position = std::strchr(position, '<');
        return position != nullptr;
    }

    bool startsWith(std::string_view text) const {
        return std::strncmp(position, text.data(), text.size()) == 0;
    }

    void advance(std::size_t count) { position += count; }

    /// False when `text` does not follow: the parser finds the end of its data.
    bool skipPast(const char* text) {
        position = std::strstr(position, text);
        if (position == nullptr) {
            return false;
        }
        position += std::strlen(text);
        return true;
    }

    void skipWhile(const char* set) { position += std::strspn(position, set); }
    void skipUntil(const char* set) { position += std::strcspn(position, set); }

    char take() { return *position == '\0' ? '\0' : *position++; }

  private:
    const char* position;
};

constexpr char blanks[] = " \t\r\n";

bool skipDoctype(Scanner& scanner) {
    for (unsigned brackets = 0;;) {
        switch (scanner.take()) {
            case '\0':
                return false;
            case '[':
                ++brackets;
                break;
            case ']':
                brackets -= brackets > 0 ? 1 : 0;
                break;
            case '>':
                if (brackets == 0) {
                    return true;
                }
                break;
            default:
                break;
        }
    }
}

bool isDoctype(const Scanner& scanner) {
    constexpr std::string_view start = "<!DOCTYPE";
    return scanner.startsWith(start) && scanner.at()[start.size()] != '\0' &&
           std::strchr(blanks, scanner.at()[start.size()]) != nullptr;
}

/// At "<!" or "<?". False when the text ends in it.
bool skipMarkup(Scanner& scanner) {
    if (scanner.startsWith("<?")) {
        scanner.advance(2);
        return scanner.skipPast("?>");
    }
    if (scanner.startsWith("<!--")) {
        scanner.advance(4);
        return scanner.skipPast("-->");
    }
    if (scanner.startsWith("<![CDATA[")) {
        scanner.advance(9);
        return scanner.skipPast("]]>");
    }
    if (isDoctype(scanner)) {
        scanner.advance(10);
        return skipDoctype(scanner);
    }
    scanner.advance(2);
    return scanner.skipPast(">");
}

/// After an attribute's name.
bool skipAttributeValue(Scanner& scanner) {
    scanner.skipWhile(blanks);
    if (scanner.take() != '=') {
        return false;
    }
    scanner.skipWhile(blanks);
    const char quote = scanner.take();
    if (quote != '"' && quote != '\'') {
        return false;
    }
    scanner.skipUntil(quote == '"' ? "\"" : "'");
    return scanner.take() == quote;
}

/// At the '<' of an element.
Tag skipStartTag(Scanner& scanner) {
    constexpr char endOfName[] = " \t\r\n/>?";
    constexpr char noAttribute[] = " \t\r\n/<>=?!";
    scanner.advance(1);
    scanner.skipUntil(endOfName);
    scanner.skipWhile(blanks);
    while (*scanner.at() != '\0' && std::strchr(noAttribute, *scanner.at()) == nullptr) {
        scanner.skipUntil(noAttribute);
        if (!skipAttributeValue(scanner)) {
            return Tag::Malformed;
        }
        scanner.skipWhile(blanks);
    }
    switch (scanner.take()) {
        case '>':
            return Tag::Open;
        case '/':
            return scanner.take() == '>' ? Tag::SelfClosed : Tag::Malformed;
        default:
            return Tag::Malformed;
    }
}

}  // namespace

std::optional<std::size_t> findNestingBeyond(const char* text, unsigned limit) {
    Scanner scanner(text);
    for (unsigned depth = 0; scanner.toNextTag();) {
        const char* const start = scanner.at();
        if (scanner.startsWith("<!") || scanner.startsWith("<?")) {
            if (!skipMarkup(scanner)) {
                return std::nullopt;
            }
        } else if (scanner.startsWith("</")) {
            if (depth == 0) {
                return std::nullopt;
            }
            --depth;
            scanner.advance(2);
            scanner.skipUntil(">");
        } else {
            if (depth == limit) {
                return static_cast<std::size_t>(start - text);
            }
            const Tag tag = skipStartTag(scanner);
            if (tag == Tag::Malformed) {
                return std::nullopt;
            }
            depth += tag == Tag::Open ? 1 : 0;
        }
    }
    return std::nullopt;
}

}  // namespace tarn::utils
