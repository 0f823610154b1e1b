#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::gateway {

/// Numbers the batches that go through, and remembers the last tree. One thread at a time.
///
/// A batch is handed on as it came, behind a head of the gateway's own fields.
class Relay {
  public:
    /// `instance` is different at each start of a gateway.
    explicit Relay(std::string instance);

    /// The head of this batch, which now has been counted; nothing for bytes that are no batch. A
    /// batch with a tree, and only that, replaces the last tree.
    std::optional<std::string> accept(std::string_view batch);

    struct CatchUp {
        std::string address;  ///< the beginning of the message, which is unlike all others
        std::string body;
    };
    /// What a newcomer gets now: the last tree, if there is one, and the last number.
    CatchUp catchUp();

    /// All but catch-ups begin with this.
    static const std::string batchBeginning;
    /// A batch that means nothing.
    static const std::string filler;

    bool knowsTree() const { return !tree.empty(); }

  private:
    const std::string instance;
    std::uint64_t sequence = 0;
    std::uint64_t newcomers = 0;
    std::string tree;  // a batch of nothing else, serialised
};

}  // namespace tarn::gateway
