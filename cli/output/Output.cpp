#include "cli/output/Output.h"

#include <algorithm>
#include <ostream>

#include "cli/CommandError.h"
#include "cli/output/Json.h"
#include "cli/output/StyledLine.h"
#include "cli/output/Table.h"
#include "cli/output/TerminalText.h"

namespace tarn::cli {

Output::Output(std::ostream& out, std::ostream& err, Terminal terminal)
    : out(out), err(err), facts(terminal) {}

void Output::line(const std::string& text) {
    out << escapeForTerminal(text) << '\n';
}

void Output::fields(const Fields& fields) {
    std::size_t widest = 0;
    for (const auto& [label, value] : fields) {
        widest = value.empty() ? widest : std::max(widest, columns(label));
    }
    for (const auto& [label, value] : fields) {
        if (!value.empty()) {
            out << bold(label) << std::string(widest - columns(label) + 2, ' ')
                << escapeForTerminal(value) << '\n';
        }
    }
}

void Output::table(const Table& table, const std::string& ifEmpty) {
    if (table.empty()) {
        return line(ifEmpty);
    }
    const auto lines = table.lines();
    out << bold(lines.front()) << '\n';
    std::for_each(lines.begin() + 1, lines.end(), [this](const auto& row) { out << row << '\n'; });
}

void Output::drawing(const std::vector<StyledLine>& lines) {
    for (const StyledLine& line : lines) {
        out << line.text(facts.colours) << '\n';
    }
}

void Output::screen(const std::vector<StyledLine>& lines) {
    if (facts.display == Display::Redraws) {
        redraw(lines);
    } else {
        drawing(lines);
    }
    flush();
}

// From the upper left corner on; what is left of the last drawing is erased. A line at the bottom
// stays empty, for writing there would scroll.
void Output::redraw(const std::vector<StyledLine>& lines) {
    const std::size_t room = std::max<std::size_t>(facts.lines, 3) - 1;
    const std::size_t shown = lines.size() <= room ? lines.size() : room - 1;
    out << "\x1b[H";
    std::for_each_n(lines.begin(), shown, [this](const StyledLine& line) {
        out << line.text(facts.colours, facts.columns) << "\x1b[K\n";
    });
    if (shown < lines.size()) {
        out << "... and " << lines.size() - shown << " more lines\x1b[K\n";
    }
    out << "\x1b[J";
}

void Output::document(const nlohmann::ordered_json& document) {
    out << pretty(document) << '\n';
}

void Output::documentLine(const nlohmann::ordered_json& document) {
    out << oneLine(document) << std::endl;
}

void Output::plain(const std::string& text) {
    out << text;
}

void Output::notice(const std::string& text) {
    err << "tarnctl: " << escapeForTerminal(text) << std::endl;
}

void Output::flush() {
    if (!out.flush()) {
        throw CommandError(ExitStatus::Failed, "cannot write the output");
    }
}

std::string Output::bold(const std::string& text) const {
    return facts.colours == Colours::On ? "\x1b[1m" + text + "\x1b[0m" : text;
}

}  // namespace tarn::cli
