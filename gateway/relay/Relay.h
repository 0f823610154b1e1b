#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/relay/ServiceSequence.h"
#include "gateway/relay/TreeUpdates.h"

namespace tarn::gateway {

/// Numbers the batches that go through, and remembers the last tree. One thread at a time.
///
/// A batch is handed on as it came, behind a head of the gateway's own fields; for those who follow
/// differences it becomes an update.
///
/// Whether the last tree is what the service has can be in doubt:
///
///     InDoubt --a batch with a tree, or the answer to a question since--> Certain
///     Certain --numbers of the service left out, or another service--> InDoubt
///
/// It is in doubt at the start. A question that was asked before the last doubt settles nothing.
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
    /// What those who have just come get now: the last tree, if there is one, and the last number.
    CatchUp catchUp();

    /// The same for those who have come for updates. From the first one on updates are made. What
    /// waits to be told has to be taken before.
    CatchUp catchUpOfUpdates();

    /// Of batches that wait to be told in the next update; 0 also while nobody has come for them.
    std::size_t bytesForUpdate() const { return updates.waitingBytes(); }
    /// The update of what was accepted or settled since the last one; there must be something.
    std::string takeUpdate() { return updates.take(tree); }

    /// All but catch-ups begin with this.
    static const std::string batchBeginning;
    /// A batch that means nothing.
    static const std::string filler;

    bool knowsTree() const { return !tree.empty(); }

    /// Which doubt there is, counted from 1; nothing while the last tree is certain.
    std::optional<std::uint64_t> doubt() const;

    /// A batch to be published.
    struct Settlement {
        std::string head;
        std::string_view tree;  ///< until the next call
    };
    /// The service's answer, as a batch of nothing but its tree, to a question that was asked in
    /// `doubt`. Gives what the subscribers are to be told: nothing when they know that tree, when
    /// there is another doubt by now, or for bytes that are no such batch.
    std::optional<Settlement> settle(std::uint64_t doubt, std::string_view treeOnly);

  private:
    enum class Standing { InDoubt, Certain };

    std::string nextHead(bool askedFor);
    std::string catchUpHead() const;
    void noteUpdate(std::string_view head, std::string_view batch, const ScannedBatch& scanned);

    const std::string instance;
    ServiceSequence service;
    Standing standing = Standing::InDoubt;
    std::uint64_t doubts = 1;
    std::uint64_t sequence = 0;
    std::uint64_t newcomers = 0;
    std::string tree;  // a batch of nothing else, serialised
    bool areUpdatesWanted = false;
    TreeUpdates updates;
};

}  // namespace tarn::gateway
