#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/settings/enum_serializer.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {
namespace {

// The serializer is one template over each enumeration's table; a plain table and one with
// negative constants show its rules.
template <class E>
class EnumTableTest : public ::testing::Test {};
using SomeEnums = ::testing::Types<DenoisingMode, SchedulerWorkerThreadPriority>;
TYPED_TEST_SUITE(EnumTableTest, SomeEnums);

TYPED_TEST(EnumTableTest, EveryConstantRoundTripsThroughItsName) {
    const auto& table = enumTable<TypeParam>();
    const auto serializer = EnumSerializer<TypeParam>::instance();
    ASSERT_FALSE(table.empty());
    std::vector<std::string> expectedNames;
    for (const auto& entry : table) {
        expectedNames.push_back(entry.name);
        EXPECT_EQ(serializer->toString(Property(static_cast<int>(entry.value))), entry.name);
        if (entry.value == -1) {
            continue;  // unreachable by name; covered below
        }
        const Property parsed = serializer->fromString(entry.name);
        ASSERT_EQ(parsed.type(), PropertyType::Int) << entry.name;
        EXPECT_EQ(parsed.asInt(), entry.value) << entry.name;
    }
    EXPECT_EQ(serializer->names(), expectedNames);

    const auto [lowest, highest] = std::ranges::minmax(table, {}, &EnumEntry::value);
    EXPECT_EQ(serializer->minValue(), lowest.value);
    EXPECT_EQ(serializer->maxValue(), highest.value);
    EXPECT_EQ(serializer, EnumSerializer<TypeParam>::instance());
}

struct FromStringCase {
    std::string text;
    bool found;
    int value;
};

TEST(EnumSerializerTest, FromStringPrefersALeadingIntegerThenTheTrimmedName) {
    const auto denoising = EnumSerializer<DenoisingMode>::instance();
    const std::vector<FromStringCase> cases{
        {"Full", true, 2},
        {"2abc", true, 2},
        {"0x10", true, 0},      // decimal reading stops at the x
        {"7", true, 7},         // numbers are not checked against the table
        {"NVIDIA AI denoiser", true, 4},
        {"full", false, 0},     // names are case-sensitive
        {"", false, 0},
        {"99999999999", false, 0},  // out of int range: not a number, and no such name
        {"2147483647", true, 2147483647},
    };
    for (const auto& c : cases) {
        const Property parsed = denoising->fromString(c.text);
        if (!c.found) {
            EXPECT_TRUE(parsed.isEmpty()) << '"' << c.text << '"';
            continue;
        }
        ASSERT_EQ(parsed.type(), PropertyType::Int) << '"' << c.text << '"';
        EXPECT_EQ(parsed.asInt(), c.value) << '"' << c.text << '"';
    }
    // A constant worth -1 collides with the lookup's not-found marker: it is reachable only by number.
    const auto priority = EnumSerializer<SchedulerWorkerThreadPriority>::instance();
    EXPECT_TRUE(priority->fromString("BelowNormal").isEmpty());
    EXPECT_EQ(priority->toString(priority->fromString("-1")), "BelowNormal");
    EXPECT_EQ(priority->fromString("Low").asInt(), -2);
}

TEST(EnumSerializerTest, ToStringOfAValueWithoutANameIsEmptyAndNeedsAnInt) {
    const auto denoising = EnumSerializer<DenoisingMode>::instance();
    EXPECT_EQ(denoising->toString(Property(7)), "");
    EXPECT_EQ(test::thrownMessage([&] { denoising->toString(Property(2.f)); }),
              "Property Invalid property type is Float, not Int");
}

}  // namespace
}  // namespace lumora
