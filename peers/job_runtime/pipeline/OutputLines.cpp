#include "peers/job_runtime/pipeline/OutputLines.h"

#include <algorithm>
#include <utility>

namespace tarn::peers {

OutputLines::OutputLines(Sink sink) : sink(std::move(sink)) {}

void OutputLines::add(std::string_view bytes) {
    for (auto end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        append(bytes.substr(0, end));
        finish();
        bytes.remove_prefix(end + 1);
    }
    append(bytes);
}

void OutputLines::finish() {
    if (!line.empty()) {
        sink(std::exchange(line, {}));
    }
}

void OutputLines::append(std::string_view part) {
    line.append(part.substr(0, maxLineBytes - std::min(line.size(), maxLineBytes)));
}

}  // namespace tarn::peers
