#include "platform/device_tree/NamedStatus.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

using Value = NamedStatus::Value;
using Type = NamedStatus::Type;

Value converted(const Value& initial, const Value& newValue) {
    NamedStatus status("s", initial);
    status.setValue(newValue);
    return status.getValue();
}

const Value text = std::string("t");
const Value signedZero = std::int64_t{0};
const Value unsignedZero = std::uint64_t{0};
const Value doubleZero = 0.0;

NamedStatus thereAndBack(const NamedStatus& status) {
    return NamedStatus(status.toProtoBuf());
}

}  // namespace

TEST(NamedStatusTest, HasTheTypeOfItsValue) {
    EXPECT_EQ(NamedStatus("s", text).getType(), Type::Text);
    EXPECT_EQ(NamedStatus("s", signedZero).getType(), Type::Signed);
    EXPECT_EQ(NamedStatus("s", unsignedZero).getType(), Type::Unsigned);
    EXPECT_EQ(NamedStatus("s", doubleZero).getType(), Type::Double);
}

TEST(NamedStatusTest, KeepsItsNameAndTypeWhenSet) {
    NamedStatus status("Load", 1.5);
    status.setValue(std::int64_t{2});

    EXPECT_EQ(status, NamedStatus("Load", 2.0));
}

TEST(NamedStatusTest, ConvertsToText) {
    EXPECT_EQ(converted(text, std::string("new")), Value("new"));
    EXPECT_EQ(converted(text, std::int64_t{-5}), Value("-5"));
    EXPECT_EQ(converted(text, std::numeric_limits<std::uint64_t>::max()),
              Value("18446744073709551615"));
    EXPECT_EQ(converted(text, 0.1), Value("0.1"));
}

TEST(NamedStatusTest, ConvertsToSigned) {
    EXPECT_EQ(converted(signedZero, std::string("-12")), Value(std::int64_t{-12}));
    EXPECT_EQ(converted(signedZero, std::string("2.9")), Value(std::int64_t{2}));
    EXPECT_EQ(converted(signedZero, std::uint64_t{7}), Value(std::int64_t{7}));
    EXPECT_EQ(converted(signedZero, -2.9), Value(std::int64_t{-2}));
}

TEST(NamedStatusTest, ConvertsToUnsigned) {
    EXPECT_EQ(converted(unsignedZero, std::string("18446744073709551615")),
              Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(converted(unsignedZero, std::int64_t{7}), Value(std::uint64_t{7}));
    EXPECT_EQ(converted(unsignedZero, 2.9), Value(std::uint64_t{2}));
}

TEST(NamedStatusTest, ConvertsToDouble) {
    EXPECT_EQ(converted(doubleZero, std::string("1e3")), Value(1000.0));
    EXPECT_EQ(converted(doubleZero, std::int64_t{-3}), Value(-3.0));
    EXPECT_EQ(converted(doubleZero, std::uint64_t{3}), Value(3.0));
}

TEST(NamedStatusTest, TakesATextThatIsNoNumberForZero) {
    for (const std::string noNumber : {"", "x", "1x", " 1", "nan", "0x10"}) {
        EXPECT_EQ(converted(std::int64_t{5}, noNumber), Value(std::int64_t{0})) << noNumber;
        EXPECT_EQ(converted(std::uint64_t{5}, noNumber), Value(std::uint64_t{0})) << noNumber;
        EXPECT_EQ(converted(5.0, noNumber), Value(0.0)) << noNumber;
    }
}

TEST(NamedStatusTest, TakesTheNearestValueForOneThatIsOutOfRange) {
    using Signed = std::numeric_limits<std::int64_t>;
    using Unsigned = std::numeric_limits<std::uint64_t>;

    EXPECT_EQ(converted(signedZero, Unsigned::max()), Value(Signed::max()));
    EXPECT_EQ(converted(signedZero, 1e30), Value(Signed::max()));
    EXPECT_EQ(converted(signedZero, -1e30), Value(Signed::min()));
    EXPECT_EQ(converted(signedZero, std::string("9223372036854775808")), Value(Signed::max()));
    EXPECT_EQ(converted(unsignedZero, std::int64_t{-1}), Value(std::uint64_t{0}));
    EXPECT_EQ(converted(unsignedZero, -0.5), Value(std::uint64_t{0}));
    EXPECT_EQ(converted(unsignedZero, 1e30), Value(Unsigned::max()));
    EXPECT_EQ(converted(signedZero, std::nan("")), Value(std::int64_t{0}));
}

TEST(NamedStatusTest, SurvivesTheWayThroughAMessage) {
    for (const auto& value : {Value("a\0b"), Value(std::int64_t{-1}), Value(std::uint64_t{1}),
                              Value(-0.25), Value(std::string())}) {
        const NamedStatus status("name", value);
        EXPECT_EQ(thereAndBack(status), status);
    }
}

TEST(NamedStatusTest, ReadsTheValueThatTheTypeCallsFor) {
    proto::monitoring::NamedStatus message;
    message.set_name("n");
    message.set_text_value("text");
    message.set_signed_value(-1);
    message.set_unsigned_value(2);
    message.set_double_value(3.5);

    EXPECT_EQ(NamedStatus(message).getValue(), Value("text"));
    message.set_type(proto::monitoring::NamedStatus::SIGNED);
    EXPECT_EQ(NamedStatus(message).getValue(), Value(std::int64_t{-1}));
    message.set_type(proto::monitoring::NamedStatus::UNSIGNED);
    EXPECT_EQ(NamedStatus(message).getValue(), Value(std::uint64_t{2}));
    message.set_type(proto::monitoring::NamedStatus::DOUBLE);
    EXPECT_EQ(NamedStatus(message).getValue(), Value(3.5));
}

TEST(NamedStatusTest, TakesAnEmptyMessageForAnEmptyText) {
    EXPECT_EQ(NamedStatus(proto::monitoring::NamedStatus()), NamedStatus("", std::string()));
}

}  // namespace tarn::device_tree
