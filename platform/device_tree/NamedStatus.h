#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {

/// One measured or reported value of a device. A value; its type never changes.
class NamedStatus {
  public:
    enum class Type : std::uint32_t { Text = 0, Signed = 1, Unsigned = 2, Double = 3 };
    using Value = std::variant<std::string, std::int64_t, std::uint64_t, double>;

    /// The type is that of the value.
    NamedStatus(std::string name, Value value);
    explicit NamedStatus(const tarn::proto::monitoring::NamedStatus& message);

    const std::string& getName() const { return name; }
    Type getType() const;
    const Value& getValue() const { return value; }

    /// Converts to the type that this status has; a text that is no number becomes 0.
    void setValue(const Value& newValue);

    tarn::proto::monitoring::NamedStatus toProtoBuf() const;
    friend bool operator==(const NamedStatus&, const NamedStatus&) = default;

  private:
    std::string name;
    Value value;
};

}  // namespace tarn::device_tree
