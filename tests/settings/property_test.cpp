#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/settings/property.hpp"

namespace lumora {
namespace {

using test::thrownMessage;
const float kNaN = std::numeric_limits<float>::quiet_NaN();

bool isStop(const std::string& message) { return message.starts_with("STOP@") && message.ends_with(")"); }

TEST(Property, EmptyIsUnprintableAndArraysOwnTheirElements) {
    const Property empty;
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_TRUE(isStop(thrownMessage([&] { (void)toStr(empty); })));
    EXPECT_TRUE(isStop(thrownMessage([&] { (void)empty.getAlignedTypeStr(); })));

    std::vector<int> source = {1, 2, 3};
    const Property original = Property::intArray(source);
    source[0] = 99;
    Property copy(3.f);
    copy = original;
    EXPECT_EQ(copy.asIntArray()[0], 1);
    EXPECT_NE(copy.asIntArray().data(), original.asIntArray().data());
    EXPECT_EQ(toStr(Property(1e10f)) + " " + toStr(Property::vec2Array(std::vector<Vector2>{{1, 2}, {0.5f, -3}})),
              "1e+10 1 2, 0.5 -3");
}

TEST(Property, WrongAccessThrowsTypeException) {
    const Property f(1.5f);
    const Property empty;
    const std::vector<std::pair<std::function<void()>, std::string>> cases = {  // access, message
        {[&] { (void)f.asInt(); }, "Property Invalid property type is Float, not Int"},
        {[&] { (void)empty.asBool(); }, "Property Invalid property type is [ERROR], not Bool"},
        {[&] { f.throwIfTypeNot(PropertyType::Empty); }, "Property Invalid property type is Float, not [ERROR]"},
        // Comparing values of different types names the left one as expected.
        {[] { (void)(Property(1) == Property(1.f)); }, "Property Invalid property type is Float, not Int"},
        {[] { (void)(Property(1) == Property()); }, "Property Invalid property type is [ERROR], not Int"},
    };
    for (const auto& [access, message] : cases) EXPECT_EQ(thrownMessage(access), message);
    EXPECT_EQ(thrownMessage([&] { f.throwIfTypeNot(PropertyType::Float); }), "(no exception)");
}

TEST(Property, EqualityRules) {
    const std::vector<Vec3> nan3 = {{kNaN, 2, 3}};
    const std::vector<std::tuple<Property, Property, bool, const char*>> cases = {  // left, right, equal, what
        {Property(kNaN), Property(3.f), true, "NaN equals any float"},
        {Property(0.f), Property(-0.f), true, "signed zeros"},
        {Property(1.f), Property(1.0001f), false, "float"},
        {Property(Vec3{kNaN, 2, 3}), Property(Vec3{kNaN, 2, 3}), false, "vec3 compares as plain floats"},
        {Property("a"), Property("A"), false, "string is case-sensitive"},
        {Property::intArray({1, 2}), Property::intArray({1, 2, 3}), false, "int array count"},
        {Property::floatArray({kNaN, 1}), Property::floatArray({5, 1}), true, "float array NaN"},
        {Property::floatArray({}), Property::floatArray({0}), false, "float array count"},
        {Property::vec2Array({{kNaN, 1}}), Property::vec2Array({{2, 1}}), true, "vec2 array NaN"},
        {Property::vec3Array(nan3), Property::vec3Array(nan3), false, "vec3 array NaN"},
        {Property::stringArray({"a", "b"}), Property::stringArray({"b", "a"}), false, "string array order"},
    };
    for (const auto& [left, right, equal, what] : cases) EXPECT_EQ(left == right, equal) << what;
}
}  // namespace
}  // namespace lumora
