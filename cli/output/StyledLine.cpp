#include "cli/output/StyledLine.h"

#include "cli/output/TerminalText.h"

namespace tarn::cli {

namespace {

std::string_view beginningOf(Style style) {
    switch (style) {
        case Style::Plain:
            return "";
        case Style::Bold:
            return "\x1b[1m";
        case Style::Faint:
            return "\x1b[2m";
        case Style::Good:
            return "\x1b[32m";
        case Style::Warning:
            return "\x1b[33m";
        case Style::Bad:
            return "\x1b[31m";
    }
    return "";
}

std::string styled(const std::string& escaped, Style style, Colours colours) {
    const bool plain = style == Style::Plain || colours == Colours::Off || escaped.empty();
    return plain ? escaped : std::string(beginningOf(style)) + escaped + "\x1b[0m";
}

}  // namespace

StyledLine& StyledLine::add(std::string_view text, Style style) {
    parts.push_back({escapeForTerminal(text), style});
    return *this;
}

std::string StyledLine::text(Colours colours, std::size_t limit) const {
    std::string line;
    std::size_t room = limit;
    for (const Part& part : parts) {
        const std::size_t width = columns(part.escaped);
        if (width > room) {
            return line + styled(shorten(part.escaped, room), part.style, colours);
        }
        line += styled(part.escaped, part.style, colours);
        room -= width;
    }
    return line;
}

}  // namespace tarn::cli
