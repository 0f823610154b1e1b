#include "tests/system/OutputLines.h"

#include <algorithm>

namespace tarn::test {

void OutputLines::append(std::string_view bytes) {
    const std::lock_guard lock(mutex);
    for (auto end = bytes.find('\n'); end != bytes.npos; end = bytes.find('\n')) {
        lines.push_back(unfinished + std::string(bytes.substr(0, end)));
        unfinished.clear();
        bytes.remove_prefix(end + 1);
    }
    unfinished += bytes;
    changed.notify_all();
}

void OutputLines::close() {
    const std::lock_guard lock(mutex);
    if (!unfinished.empty()) {
        lines.push_back(std::move(unfinished));
        unfinished.clear();
    }
    closed = true;
    changed.notify_all();
}

std::vector<std::string> OutputLines::all() const {
    const std::lock_guard lock(mutex);
    return lines;
}

std::string OutputLines::text() const {
    std::string text;
    for (const auto& line : all()) {
        text += line + "\n";
    }
    return text;
}

std::optional<std::size_t> OutputLines::findLocked(const std::string& part,
                                                   std::size_t from) const {
    for (std::size_t i = from; i < lines.size(); ++i) {
        if (lines[i].find(part) != std::string::npos) {
            return i;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> OutputLines::find(const std::string& part, std::size_t from) const {
    const std::lock_guard lock(mutex);
    return findLocked(part, from);
}

bool OutputLines::contains(const std::string& part) const {
    return find(part).has_value();
}

std::size_t OutputLines::count(const std::string& part) const {
    const auto copy = all();
    return static_cast<std::size_t>(std::count_if(
        copy.begin(), copy.end(),
        [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

std::optional<std::string> OutputLines::waitFor(const std::string& part, std::size_t from,
                                                Bound bound) const {
    std::unique_lock lock(mutex);
    std::optional<std::size_t> position;
    changed.wait_for(lock, bound, [&] {
        position = findLocked(part, from);
        return position || closed;
    });
    return position ? std::optional(lines[*position]) : std::nullopt;
}

bool OutputLines::waitForCount(std::size_t count, Bound bound) const {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, bound, [&] { return lines.size() >= count || closed; });
    return lines.size() >= count;
}

}  // namespace tarn::test
