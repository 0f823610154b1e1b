#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "cli/output/Terminal.h"

namespace tarn::cli {

class StyledLine;
class Table;

/// Label and value; a value that is empty is not shown.
using Fields = std::vector<std::pair<std::string, std::string>>;

/// Where results go: the output stream for people or as JSON; notices on the error stream, one line
/// each. Whatever is not JSON is escaped first. Used by one thread.
class Output {
  public:
    /// The streams outlive this.
    Output(std::ostream& out, std::ostream& err, Terminal terminal);

    void line(const std::string& text);
    void fields(const Fields& fields);
    /// A table without rows is that line.
    void table(const Table& table, const std::string& ifEmpty = "");
    void drawing(const std::vector<StyledLine>& lines);

    /// The same as the latest state of something that is being watched: in place of what is on the
    /// screen, as much as there is room for, else below what was written before. Written through at
    /// once.
    void screen(const std::vector<StyledLine>& lines);

    /// The one document of a command.
    void document(const nlohmann::ordered_json& document);
    /// One of a row of documents; written through at once, for a reader at the other end of a pipe.
    void documentLine(const nlohmann::ordered_json& document);

    /// Our own text, as it is.
    void plain(const std::string& text);

    /// "tarnctl: <text>" on the error stream.
    void notice(const std::string& text);

    /// Writes everything out; CommandError when the output stream takes no more.
    void flush();

    std::ostream& errorStream() { return err; }
    const Terminal& terminal() const { return facts; }

  private:
    void redraw(const std::vector<StyledLine>& lines);
    std::string bold(const std::string& text) const;

    std::ostream& out;
    std::ostream& err;
    Terminal facts;
};

}  // namespace tarn::cli
