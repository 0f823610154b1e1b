#include "platform/utils/XmlNesting.h"

#include <algorithm>
#include <string_view>

namespace tarn::utils {

namespace {

enum class Tag { Open, SelfClosed, Malformed };

/// Walks over a text, never beyond its end.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : text(text) {}

    std::size_t offset() const { return position; }

    /// Zero at the end and beyond.
    char at(std::size_t ahead = 0) const {
        return ahead < text.size() - position ? text[position + ahead] : '\0';
    }

    bool startsWith(std::string_view start) const {
        return text.substr(position, start.size()) == start;
    }

    void advance(std::size_t count) { moveTo(position + count); }
    void skipWhile(std::string_view set) { moveTo(text.find_first_not_of(set, position)); }
    void skipUntil(std::string_view set) { moveTo(text.find_first_of(set, position)); }

    /// False when `end` does not follow: the parser finds the end of its data.
    bool skipPast(std::string_view end) {
        const auto found = text.find(end, position);
        moveTo(found == std::string_view::npos ? found : found + end.size());
        return found != std::string_view::npos;
    }

    bool toNextTag() {
        moveTo(text.find('<', position));
        return position < text.size();
    }

    char take() {
        const char next = at();
        advance(1);
        return next;
    }

  private:
    void moveTo(std::size_t target) { position = std::min(target, text.size()); }

    const std::string_view text;
    std::size_t position = 0;
};

constexpr std::string_view blanks = " \t\r\n";

bool isOneOf(char character, std::string_view set) {
    return set.find(character) != std::string_view::npos;
}

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
    return scanner.startsWith(start) && isOneOf(scanner.at(start.size()), blanks);
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
    constexpr std::string_view endOfName = " \t\r\n/>?";
    constexpr std::string_view noAttribute = " \t\r\n/<>=?!";
    scanner.advance(1);
    scanner.skipUntil(endOfName);
    scanner.skipWhile(blanks);
    while (scanner.at() != '\0' && !isOneOf(scanner.at(), noAttribute)) {
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
        const std::size_t start = scanner.offset();
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
                return start;
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
