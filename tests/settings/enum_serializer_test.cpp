#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lumora/settings/enum_serializer.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {
namespace {

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
    EXPECT_EQ(denoising->toString(Property(4)), "NVIDIA AI denoiser");
    EXPECT_EQ(denoising->toString(Property(7)), "");
    // A constant worth -1 collides with the lookup's not-found marker: it is reachable only by number.
    const auto priority = EnumSerializer<SchedulerWorkerThreadPriority>::instance();
    EXPECT_TRUE(priority->fromString("BelowNormal").isEmpty());
    EXPECT_EQ(priority->toString(priority->fromString("-1")), "BelowNormal");
    EXPECT_EQ(priority->fromString("Low").asInt(), -2);
}

}  // namespace
}  // namespace lumora
