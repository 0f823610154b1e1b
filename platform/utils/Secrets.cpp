#include "platform/utils/Secrets.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "platform/utils/SecretNames.h"

namespace tarn::utils {

namespace {

constexpr std::string_view blank = "***";
constexpr std::string_view whites = " \t\r\n";
constexpr std::size_t longestUrl = 2048;

bool isWhite(char c) {
    return whites.find(c) != std::string_view::npos;
}

bool isQuote(char c) {
    return c == '"' || c == '\'';
}

/// A part of the text, by its first byte and the one after its last.
struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// Goes through a text and copies it, but for what is blanked on the way.
class Blanking {
  public:
    explicit Blanking(std::string_view text) : text(text) {}

    std::string result() {
        for (std::size_t at = text.find_first_of("=:"); at != std::string_view::npos;
             at = text.find_first_of("=:", std::max(at + 1, copied))) {
            if (text.substr(at).starts_with("://")) {
                takeUrl(at);
            } else {
                takeAssignment(at);
            }
        }
        return blanked.append(text.substr(copied));
    }

  private:
    void blankOut(Range secret) {
        if (secret.begin < copied || secret.begin >= secret.end) {
            return;
        }
        blanked.append(text.substr(copied, secret.begin - copied)).append(blank);
        copied = secret.end;
    }

    char at(std::size_t position) const { return position < text.size() ? text[position] : '\0'; }

    // What is longer is no URL that anybody uses, and may have been made to be looked at for long.
    std::size_t endOfUrl(std::size_t from) {
        if (from < lastUrlEnd) {
            return lastUrlEnd;  // one within another
        }
        return lastUrlEnd = findEndOfUrl(from);
    }

    std::size_t findEndOfUrl(std::size_t from) const {
        const auto end = text.substr(from, longestUrl).find_first_of(" \t\r\n\"'<>\\");
        return end == std::string_view::npos ? std::min(text.size(), from + longestUrl)
                                             : from + end;
    }

    void takeUrl(std::size_t colon) {
        const Range url{colon + 3, endOfUrl(colon + 3)};
        const bool isStreamed = isRtmp(nameBefore(colon).name);
        const auto host = takeUser(url);
        if (isStreamed) {
            takeStreamKey({host, url.end});
        }
    }

    /// Where the host begins.
    std::size_t takeUser(Range url) {
        const auto whole = text.substr(url.begin, url.end - url.begin);
        const auto authority = whole.substr(0, whole.find_first_of("/?#"));
        auto at = authority.rfind('@');
        const auto colon = authority.find(':');
        if (at == std::string_view::npos && isNoPort(authority, colon)) {
            // The password has one of them in it.
            const void* const found = ::memrchr(whole.data(), '@', whole.size());
            at = found == nullptr
                     ? at
                     : static_cast<std::size_t>(static_cast<const char*>(found) - whole.data());
        }
        if (at == std::string_view::npos) {
            return url.begin;
        }
        if (colon < at) {
            blankOut({url.begin + colon + 1, url.begin + at});
        }
        return url.begin + at;
    }

    static bool isNoPort(std::string_view authority, std::size_t colon) {
        if (colon == std::string_view::npos || authority.starts_with('[')) {
            return false;
        }
        const auto port = authority.substr(colon + 1);
        return !std::all_of(port.begin(), port.end(),
                            [](unsigned char c) { return std::isdigit(c) != 0; });
    }

    // The first part of the path names the application.
    void takeStreamKey(Range url) {
        const auto whole = text.substr(0, url.end);
        const auto path = whole.find('/', url.begin);
        const auto pathEnd = std::min(whole.find_first_of("?#", url.begin), url.end);
        const auto last = whole.substr(0, pathEnd).rfind('/');
        if (path < pathEnd && last > path && last + 1 < url.end) {
            blankOut({last + 1, url.end});
        }
    }

    struct Name {
        std::string_view name;
        char before = '\0';  ///< what stands in front of it
    };

    /// What is named in front of "=", ":" or "://", with blanks and quotes between them.
    Name nameBefore(std::size_t position) const {
        auto end = position;
        while (end > copied &&
               (isWhite(text[end - 1]) || isQuote(text[end - 1]) || text[end - 1] == '\\')) {
            --end;
        }
        auto begin = end;
        while (begin > copied && end - begin <= longestSecretName &&
               isNameCharacter(text[begin - 1])) {
            --begin;
        }
        return {text.substr(begin, end - begin), begin > 0 ? text[begin - 1] : '\0'};
    }

    void takeAssignment(std::size_t sign) {
        const auto named = nameBefore(sign);
        const auto kind = text[sign] == '=' ? secretBehindEquals(named.name, named.before)
                                            : secretBehindColon(named.name, at(sign - 1));
        switch (kind) {
            case SecretKind::None:
                takeNamedElsewhere(sign, named.name);
                break;
            case SecretKind::Word:
                blankOut(valueFrom(sign + 1, /*isWholeLine=*/false));
                break;
            case SecretKind::Line:
                blankOut(valueFrom(sign + 1, /*isWholeLine=*/true));
                break;
        }
    }

    // A printed message: name: "password" value: "..."
    void takeNamedElsewhere(std::size_t sign, std::string_view name) {
        if (name == "name") {
            const auto near = text.substr(0, sign + 1 + longestSecretName);
            const auto said = Blanking(near).valueFrom(sign + 1, false);
            lastName = near.substr(said.begin, said.end - said.begin);
        } else if ((name == "value" || name == "values") &&
                   secretBehindEquals(lastName, '\0') != SecretKind::None) {
            blankOut(valueFrom(sign + 1, false));
        }
    }

    Range valueFrom(std::size_t from, bool isWholeLine) const {
        auto begin = text.find_first_not_of(" \t", from);
        begin = std::min(begin, text.size());
        if (at(begin) == '(') {  // the type, as in (string)value
            const auto end = text.find(')', begin);
            begin = end < begin + longestSecretName ? end + 1 : begin;
        }
        const bool isEscaped = at(begin) == '\\' && isQuote(at(begin + 1));
        const auto quote = begin + (isEscaped ? 1 : 0);
        if (isQuote(at(quote))) {
            return {quote + 1, endOfQuoted(quote + 1, at(quote), isEscaped)};
        }
        return {begin, isWholeLine ? endOfLine(begin) : endOfValue(begin)};
    }

    std::size_t endOfQuoted(std::size_t from, char quote, bool isEscaped) const {
        for (auto end = from; end < text.size(); ++end) {
            if (text[end] == '\\') {
                if (isEscaped && at(end + 1) == quote) {
                    return end;
                }
                ++end;
            } else if (text[end] == quote) {
                return end;
            }
        }
        return text.size();
    }

    // A backslash takes a blank along, but not what ends the text around this.
    std::size_t endOfValue(std::size_t from) const {
        auto end = from;
        while (end < text.size() && !isWhite(text[end]) && !isQuote(text[end]) &&
               text[end] != '&' && text[end] != '>') {
            if (text[end] == '\\' && (isQuote(at(end + 1)) || at(end + 1) == 'n')) {
                return end;
            }
            end += text[end] == '\\' && end + 1 < text.size() ? 2 : 1;
        }
        return end;
    }

    std::size_t endOfLine(std::size_t from) const {
        auto end = from;
        while (end < text.size() && text[end] != '\n' && text[end] != '\r' && !isQuote(text[end]) &&
               !(text[end] == '\\' &&
                 (isQuote(at(end + 1)) || at(end + 1) == 'n' || at(end + 1) == 'r'))) {
            ++end;
        }
        return end;
    }

    const std::string_view text;
    std::string blanked;
    std::size_t copied = 0;  // what of the text is in `blanked`, or was left out
    std::size_t lastUrlEnd = 0;
    std::string_view lastName;
};

}  // namespace

bool mayHoldSecrets(std::string_view text) {
    return text.find('=') != std::string_view::npos || text.find(':') != std::string_view::npos;
}

std::string withoutSecrets(std::string_view text) {
    return Blanking(text).result();
}

}  // namespace tarn::utils
