#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "platform/socket/Visitor.h"
#include "platform/socket/visitors/ServingTime.h"

namespace tarn::socket {

/// Requests that wait for one thread to serve them. Visitors take turns, each with his requests in
/// the order in which they came: whoever sends a thousand, by as many connections as he likes, lets
/// another wait for one of them. And each has his share of the thread's time (ServingTime): who has
/// had it waits, also when nobody else asks. Those who are not counted take turns with the others
/// as if they were one, and have all the time.
///
/// One thread at a time.
template <typename Request>
class FairQueue {
  public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;
    /// Nothing for somebody who is not counted.
    using Asker = std::optional<Visitor>;

    explicit FairQueue(Now now = Clock::now) : now(std::move(now)) {}

    void add(const Asker& asker, Request request) {
        lineOf(asker).waiting.push_back(std::move(request));
        ++all;
    }

    bool isEmpty() const { return all == 0; }
    std::size_t waitingOf(const Asker& asker) const {
        const auto line = lines.find(asker);
        return line == lines.end() ? 0 : line->second.waiting.size();
    }

    /// When the first of those who wait may be served, which may be long ago; nothing when nobody
    /// waits.
    std::optional<Clock::time_point> due() const {
        std::optional<Clock::time_point> first;
        for (const auto& [asker, line] : lines) {
            if (!line.waiting.empty()) {
                first = std::min(first.value_or(Clock::time_point::max()), line.time.due());
            }
        }
        return first;
    }

    /// The next one to be served, from now until `served`; nothing when none is due.
    std::optional<Request> take() {
        const auto at = now();
        auto next = lines.upper_bound(lastServed);
        for (std::size_t i = 0; i < lines.size(); ++i, ++next) {
            next = next == lines.end() ? lines.begin() : next;
            if (auto& line = next->second; !line.waiting.empty() && line.time.due() <= at) {
                lastServed = next->first;
                servedSince = at;
                return takeFirst(line);
            }
        }
        return std::nullopt;
    }

    /// The one that was taken last is done with, if that has not been said before.
    void served() {
        if (const auto since = std::exchange(servedSince, std::nullopt); since && lastServed) {
            const auto at = now();
            lineOf(lastServed).time.spend(at - *since, at);
        }
    }

  private:
    struct Line {
        std::deque<Request> waiting;
        ServingTime time;
    };

    Line& lineOf(const Asker& asker) {
        if (const auto known = lines.find(asker); known != lines.end()) {
            return known->second;
        }
        std::erase_if(lines, [at = now()](const auto& line) {
            return line.second.waiting.empty() && line.second.time.isForgotten(at);
        });
        return lines[asker];
    }

    Request takeFirst(Line& line) {
        auto first = std::move(line.waiting.front());
        line.waiting.pop_front();
        --all;
        return first;
    }

    Now now;
    std::map<Asker, Line> lines;
    std::size_t all = 0;
    Asker lastServed;
    std::optional<Clock::time_point> servedSince;
};

}  // namespace tarn::socket
