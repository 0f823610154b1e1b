#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace google::protobuf {
class Message;
}

namespace tarn::fuzz {

/// Changes a message at random into another one of its type: fields come, go and change, repeated
/// ones are doubled and moved, texts of one place appear at another, messages that hold their own
/// kind become deep. Extensions are fields like all others.
class MessageMutator {
  public:
    explicit MessageMutator(unsigned seed) : random(seed) {}

    void mutate(google::protobuf::Message& message);

  private:
    friend class MessageChange;
    std::minstd_rand random;
};

/// For LLVMFuzzerCustomMutator: `data` is a serialised message of the type of `empty`, and is again
/// one afterwards, of at most `mostBytes`. Returns its size.
std::size_t mutateBytes(google::protobuf::Message& empty, std::uint8_t* data, std::size_t size,
                        std::size_t mostBytes, unsigned seed);

}  // namespace tarn::fuzz
