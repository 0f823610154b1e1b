#pragma once

#include <optional>
#include <string_view>

#include "platform/utils/MessageFields.h"

namespace tarn::tree_updates {

/// The two parts of a node's message. Views into it.
struct NodeBytes {
    std::string_view own;         ///< all but its sub-devices
    std::string_view subDevices;  ///< all that comes from the first of them on
};

/// Nothing where the id is not the first field, and the only one of its number.
std::optional<NodeBytes> partsOf(std::string_view node);

/// Goes through a node's sub-devices, as long as they are orderly.
class SubDevices {
  public:
    /// Is at the first one then. The bytes, which are NodeBytes::subDevices, must outlive this.
    explicit SubDevices(std::string_view bytes);

    /// Whether there is one. Only then:
    bool has() const { return state == State::There; }
    std::string_view id() const { return idOfThis; }
    std::string_view message() const { return fields.bytes(); }
    void next();

    /// After the last one: whether all bytes were sub-devices whose ids ascend.
    bool areOrderly() const { return state == State::AtTheEnd; }

  private:
    enum class State { There, AtTheEnd, Disorderly };

    State read(bool isFirst);

    tarn::utils::MessageFields fields;
    std::string_view idOfThis;
    State state;
};

}  // namespace tarn::tree_updates
