#pragma once

#include <boost/asio/buffer.hpp>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace tarn::peers::loop_storage {

/// What is to be sent to one client, in order; all that waits goes in one sending.
class Outbox {
  public:
    void add(std::string message, std::vector<char> payload);

    /// What there is, as one sequence, until `finish`. Not while a sending is under way.
    std::vector<boost::asio::const_buffer> begin();
    void finish();

    bool isSending() const { return !underWay.empty(); }
    bool isEmpty() const { return waiting.empty(); }
    /// So much waits for the client that nothing more of it is looked at meanwhile: many answers,
    /// or many bytes of them. Payloads do not count: see there.
    bool isFull() const;
    /// How many of them carry a payload.
    std::size_t payloads() const;

    /// Memory of a payload that was sent, to be used again.
    std::vector<char> takeSpare();

  private:
    struct Item {
        std::string message;
        std::vector<char> payload;
    };
    std::deque<Item> waiting;
    std::deque<Item> underWay;
    std::size_t messageBytes = 0;  // of both
    std::vector<char> spare;
};

}  // namespace tarn::peers::loop_storage
