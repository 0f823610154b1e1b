#include "tests/support/OutputLines.h"

#include <algorithm>

namespace tarn::test {

void OutputLines::append(std::string_view bytes) {
    const std::lock_guard lock(mutex);
    auto end = written.size();
    written += bytes;
    while ((end = written.find('\n', end)) != std::string::npos) {
        ends.push_back(end++);
    }
    changed.notify_all();
}

void OutputLines::close() {
    const std::lock_guard lock(mutex);
    const auto counted = ends.empty() ? 0 : ends.back() + 1;
    if (!closed && counted < written.size()) {
        ends.push_back(written.size());
    }
    closed = true;
    changed.notify_all();
}

std::string_view OutputLines::line(std::size_t number) const {
    const auto begin = number == 0 ? 0 : ends[number - 1] + 1;
    return std::string_view(written).substr(begin, ends[number] - begin);
}

std::vector<std::string> OutputLines::all() const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        lines.emplace_back(line(i));
    }
    return lines;
}

std::string OutputLines::text() const {
    const std::lock_guard lock(mutex);
    return written;
}

std::optional<std::size_t> OutputLines::findLocked(const std::string& part,
                                                   std::size_t from) const {
    for (std::size_t i = from; i < ends.size(); ++i) {
        if (line(i).find(part) != std::string_view::npos) {
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

// The condition is called with the lock held.
template <typename Condition>
bool OutputLines::waitUntil(Bound bound, Condition condition) const {
    std::unique_lock lock(mutex);
    bool holds = false;
    changed.wait_for(lock, bound, [&] { return (holds = condition()) || closed; });
    return holds;
}

std::optional<std::string> OutputLines::waitFor(const std::string& part, std::size_t from,
                                                Bound bound) const {
    std::optional<std::string> found;
    waitUntil(bound, [&] {
        if (const auto position = findLocked(part, from)) {
            found = line(*position);
        }
        return found.has_value();
    });
    return found;
}

bool OutputLines::waitForText(const std::string& part, Bound bound) const {
    return waitUntil(bound, [&] { return written.find(part) != std::string::npos; });
}

bool OutputLines::waitForCount(std::size_t count, Bound bound) const {
    return waitUntil(bound, [&] { return ends.size() >= count; });
}

}  // namespace tarn::test
