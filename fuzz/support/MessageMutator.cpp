#include "fuzz/support/MessageMutator.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "fuzz/support/TextMutator.h"

namespace tarn::fuzz {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

constexpr std::size_t mostNodes = 4000;  // of a message that are looked at
constexpr std::size_t mostTexts = 64;    // that are copied from
constexpr int mostElements = 200;        // of a field that are added to
constexpr unsigned deepestChain = 130;   // beyond every limit of depth
constexpr int changesAtOnce = 4;

// It would tell of each text that is no UTF-8, which is most of them.
const auto silenced = google::protobuf::SetLogHandler(nullptr);

using Fields = std::vector<const FieldDescriptor*>;

Fields fieldsOf(const Message& message) {
    const auto* const type = message.GetDescriptor();
    Fields fields;
    for (int i = 0; i < type->field_count(); ++i) {
        fields.push_back(type->field(i));
    }
    if (type->extension_range_count() > 0) {
        type->file()->pool()->FindAllExtensions(type, &fields);
    }
    return fields;
}

// All messages in it, itself first.
void collect(Message& message, std::vector<Message*>& nodes) {
    if (nodes.size() >= mostNodes) {
        return;
    }
    nodes.push_back(&message);
    const auto* const reflection = message.GetReflection();
    Fields present;
    reflection->ListFields(message, &present);
    for (const auto* field : present) {
        if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            continue;
        }
        if (!field->is_repeated()) {
            collect(*reflection->MutableMessage(&message, field), nodes);
            continue;
        }
        for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
            collect(*reflection->MutableRepeatedMessage(&message, field, i), nodes);
        }
    }
}

void collectTexts(const std::vector<Message*>& nodes, std::vector<std::string>& texts) {
    for (const auto* node : nodes) {
        Fields present;
        const auto* const reflection = node->GetReflection();
        reflection->ListFields(*node, &present);
        for (const auto* field : present) {
            if (texts.size() < mostTexts && !field->is_repeated() &&
                field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
                texts.push_back(reflection->GetString(*node, field));
            }
        }
    }
}

}  // namespace

/// One change of one message, which may be anywhere in the whole.
class MessageChange {
  public:
    MessageChange(MessageMutator& mutator, const std::vector<std::string>& known)
        : random(mutator.random), texts(random, known) {}

    void apply(Message& message) {
        const auto fields = fieldsOf(message);
        if (fields.empty()) {
            return;
        }
        const auto* const field = fields[below(fields.size())];
        field->is_repeated() ? changeRepeated(message, *field) : changeSingle(message, *field);
    }

  private:
    std::size_t below(std::size_t bound) {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
    }
    bool oneIn(std::size_t times) { return below(times) == 0; }

    void changeSingle(Message& message, const FieldDescriptor& field) {
        const auto* const reflection = message.GetReflection();
        if (reflection->HasField(message, &field) && oneIn(4)) {
            reflection->ClearField(&message, &field);
        } else if (field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
            apply(*reflection->MutableMessage(&message, &field));
        } else {
            set(message, field);
        }
    }

    void changeRepeated(Message& message, const FieldDescriptor& field) {
        const auto* const reflection = message.GetReflection();
        const int size = reflection->FieldSize(message, &field);
        switch (size == 0 ? 0 : below(5)) {
            case 0:
                return add(message, field);
            case 1:
                return reflection->RemoveLast(&message, &field);
            case 2:
                return reflection->SwapElements(&message, &field, element(size), element(size));
            case 3:
                return repeat(message, field, size);
            default:
                return changeElement(message, field, element(size));
        }
    }

    int element(int size) { return static_cast<int>(below(static_cast<std::size_t>(size))); }

    void add(Message& message, const FieldDescriptor& field) {
        if (field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            return addValue(message, field);
        }
        auto* added = message.GetReflection()->AddMessage(&message, &field);
        apply(*added);
        if (field.message_type() == message.GetDescriptor() && oneIn(8)) {
            nest(*added, field);
        }
    }

    // In a message that may hold its own kind.
    void nest(Message& message, const FieldDescriptor& field) {
        auto* innermost = &message;
        for (auto levels = below(deepestChain); levels > 0; --levels) {
            innermost = innermost->GetReflection()->AddMessage(innermost, &field);
        }
        apply(*innermost);
    }

    void repeat(Message& message, const FieldDescriptor& field, int size) {
        const auto* const reflection = message.GetReflection();
        if (size >= mostElements || field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            return addValue(message, field);
        }
        auto* const added = reflection->AddMessage(&message, &field);
        added->CopyFrom(reflection->GetRepeatedMessage(message, &field, element(size)));
        if (oneIn(2)) {
            apply(*added);
        }
    }

    void changeElement(Message& message, const FieldDescriptor& field, int index) {
        const auto* const reflection = message.GetReflection();
        if (field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
            apply(*reflection->MutableRepeatedMessage(&message, &field, index));
        } else if (field.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
            reflection->SetRepeatedString(
                &message, &field, index,
                texts.changed(reflection->GetRepeatedString(message, &field, index)));
        }
    }

    // A field of each type is set and added to alike but for the names of the operations.
    void set(Message& message, const FieldDescriptor& field) {
        const auto* const reflection = message.GetReflection();
        switch (field.cpp_type()) {
            case FieldDescriptor::CPPTYPE_INT32:
                return reflection->SetInt32(&message, &field, number<std::int32_t>());
            case FieldDescriptor::CPPTYPE_INT64:
                return reflection->SetInt64(&message, &field, number<std::int64_t>());
            case FieldDescriptor::CPPTYPE_UINT32:
                return reflection->SetUInt32(&message, &field, number<std::uint32_t>());
            case FieldDescriptor::CPPTYPE_UINT64:
                return reflection->SetUInt64(&message, &field, number<std::uint64_t>());
            case FieldDescriptor::CPPTYPE_DOUBLE:
                return reflection->SetDouble(&message, &field, fraction());
            case FieldDescriptor::CPPTYPE_BOOL:
                return reflection->SetBool(&message, &field, oneIn(2));
            case FieldDescriptor::CPPTYPE_ENUM:
                return reflection->SetEnum(&message, &field, anyOf(*field.enum_type()));
            case FieldDescriptor::CPPTYPE_STRING:
                return reflection->SetString(&message, &field,
                                             texts.changed(reflection->GetString(message, &field)));
            default:
                return;
        }
    }

    void addValue(Message& message, const FieldDescriptor& field) {
        const auto* const reflection = message.GetReflection();
        switch (field.cpp_type()) {
            case FieldDescriptor::CPPTYPE_INT64:
                return reflection->AddInt64(&message, &field, number<std::int64_t>());
            case FieldDescriptor::CPPTYPE_UINT32:
                return reflection->AddUInt32(&message, &field, number<std::uint32_t>());
            case FieldDescriptor::CPPTYPE_STRING:
                return reflection->AddString(&message, &field, texts.changed({}));
            default:
                return;
        }
    }

    template <typename Number>
    Number number() {
        using Limits = std::numeric_limits<Number>;
        switch (below(4)) {
            case 0:
                return static_cast<Number>(below(8));
            case 1: {
                const Number edges[] = {
                    Limits::min(),           Limits::max(), Number(Limits::max() / 2),
                    static_cast<Number>(-1), Number(4096),  Number(65536)};
                return edges[below(std::size(edges))];
            }
            case 2:
                return static_cast<Number>(below(100000));
            default:
                return static_cast<Number>(std::uniform_int_distribution<std::uint64_t>()(random));
        }
    }

    double fraction() {
        const double edges[] = {0.0,
                                -0.0,
                                1.5,
                                std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::denorm_min(),
                                std::numeric_limits<double>::max()};
        return edges[below(std::size(edges))];
    }

    const google::protobuf::EnumValueDescriptor* anyOf(
        const google::protobuf::EnumDescriptor& type) {
        return type.value(element(type.value_count()));
    }

    std::minstd_rand& random;
    TextMutator texts;
};

void MessageMutator::mutate(Message& message) {
    for (auto times = 1 + random() % changesAtOnce; times > 0; --times) {
        std::vector<Message*> nodes;
        collect(message, nodes);
        std::vector<std::string> texts;
        collectTexts(nodes, texts);
        MessageChange(*this, texts).apply(*nodes[random() % nodes.size()]);
    }
}

std::size_t mutateBytes(Message& empty, std::uint8_t* data, std::size_t size, std::size_t mostBytes,
                        unsigned seed) {
    empty.ParsePartialFromArray(data, static_cast<int>(size));
    const auto before = empty.SerializePartialAsString();
    MessageMutator(seed).mutate(empty);
    const auto after = empty.SerializePartialAsString();
    const auto& chosen = after.size() <= mostBytes ? after : before;
    const auto kept = std::min(chosen.size(), mostBytes);
    std::copy_n(chosen.begin(), kept, data);
    return kept;
}

}  // namespace tarn::fuzz
