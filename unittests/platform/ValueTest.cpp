// Typed values read as another number kind: what a double gives as a signed or unsigned integer.
#include "platform/foundation/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

using platform::Value;

namespace {
constexpr std::int64_t kIntMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kIntMin = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kUIntMax = std::numeric_limits<std::uint64_t>::max();
}  // namespace

TEST(ValueNumbers, DoubleIsTruncatedTowardsZero) {
    EXPECT_EQ(Value::number(2.9).toInt(), 2);
    EXPECT_EQ(Value::number(-2.9).toInt(), -2);
    EXPECT_EQ(Value::number(2.9).toUInt(), 2u);
}

TEST(ValueNumbers, HugeDoubleIsHeldToTheSignedRange) {
    EXPECT_EQ(Value::number(1e300).toInt(), kIntMax);
    EXPECT_EQ(Value::number(-1e300).toInt(), kIntMin);
    EXPECT_EQ(Value::number(9223372036854775808.0).toInt(), kIntMax);   // 2^63, one past the end
    EXPECT_EQ(Value::number(-9223372036854775808.0).toInt(), kIntMin);  // -2^63 itself fits
}

TEST(ValueNumbers, InfinityAndNaNGiveTheRangeEndsAndZero) {
    EXPECT_EQ(Value::number(std::numeric_limits<double>::infinity()).toInt(), kIntMax);
    EXPECT_EQ(Value::number(-std::numeric_limits<double>::infinity()).toInt(), kIntMin);
    EXPECT_EQ(Value::number(std::nan("")).toInt(), 0);
    EXPECT_EQ(Value::number(std::nan("")).toUInt(), 0u);
}

TEST(ValueNumbers, DoubleAboveTheSignedRangeStillFitsUnsigned) {
    EXPECT_EQ(Value::number(1e19).toUInt(), 10000000000000000000u);
    EXPECT_EQ(Value::number(1e300).toUInt(), kUIntMax);
    EXPECT_EQ(Value::number(std::numeric_limits<double>::infinity()).toUInt(), kUIntMax);
}
