#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/settings/property.hpp"

namespace lumora {
namespace {

using test::thrownMessage;
const float kNaN = std::numeric_limits<float>::quiet_NaN();

bool isStop(const std::string& message) { return message.starts_with("STOP@") && message.ends_with(")"); }

TEST(Property, DefaultIsEmptyAndUnprintable) {
    const Property empty;
    EXPECT_EQ(empty.type(), PropertyType::Empty);
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_TRUE(isStop(thrownMessage([&] { (void)toStr(empty); })));
    EXPECT_TRUE(isStop(thrownMessage([&] { (void)empty.getAlignedTypeStr(); })));
    EXPECT_TRUE(isStop(thrownMessage([&] { (void)(empty == Property()); })));
}

TEST(Property, ConstructorsSetTypeAndText) {
    const std::vector<Vec3> dirs = {{0, 0, 1}, {1, 0, 0}};
    const std::vector<Vector2> points = {{1, 2}, {0.5f, -3}};
    const std::vector<std::string> names = {"a", "b c"};
    struct Case {
        Property value;
        PropertyType type;
        std::string text;
    };
    const std::vector<Case> cases = {
        {Property(2.2f), PropertyType::Float, "2.2"},
        {Property(1e10f), PropertyType::Float, "1e+10"},
        {Property(Vec3{1, 1, 1}), PropertyType::Vec3, "1 1 1"},
        {Property("say \"hi\""), PropertyType::String, R"("say \"hi\"")"},
        {Property::intArray({1, -2, 3}), PropertyType::IntArray, "1, -2, 3"},
        {Property::boolArray({true, false}), PropertyType::BoolArray, "true, false"},
        {Property::vec2Array(points), PropertyType::Vec2Array, "1 2, 0.5 -3"},
        {Property::vec3Array(dirs), PropertyType::Vec3Array, "0 0 1, 1 0 0"},
        {Property::stringArray(names), PropertyType::StringArray, R"("a", "b c")"},
        {Property(std::span<const float>{}), PropertyType::FloatArray, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value.type(), c.type) << c.text;
        EXPECT_EQ(toStr(c.value), c.text);
    }
}

TEST(Property, CopiesAndAssignmentsOwnTheirElements) {
    std::vector<int> source = {1, 2, 3};
    const Property original = Property::intArray(source);
    source[0] = 99;
    EXPECT_EQ(original.asIntArray()[0], 1);
    Property copy = original;
    EXPECT_NE(copy.asIntArray().data(), original.asIntArray().data());
    EXPECT_TRUE(copy == original);

    const Property bools = Property::boolArray({true, false, true});
    Property p(3.f);
    p = bools;
    EXPECT_NE(p.asBoolArray().data(), bools.asBoolArray().data());
    EXPECT_EQ(toStr(p), "true, false, true");
}

TEST(Property, WrongAccessThrowsTypeException) {
    struct Case {
        std::function<void()> access;
        std::string message;
    };
    const Property f(1.5f);
    const Property empty;
    const std::vector<Case> cases = {
        {[&] { (void)f.asInt(); }, "Property Invalid property type is Float, not Int"},
        {[&] { (void)empty.asBool(); }, "Property Invalid property type is [ERROR], not Bool"},
        {[&] { f.throwIfTypeNot(PropertyType::Empty); }, "Property Invalid property type is Float, not [ERROR]"},
        // Comparing values of different types names the left one as expected.
        {[] { (void)(Property(1) == Property(1.f)); }, "Property Invalid property type is Float, not Int"},
        {[] { (void)(Property(1) == Property()); }, "Property Invalid property type is [ERROR], not Int"},
    };
    for (const auto& c : cases) EXPECT_EQ(thrownMessage(c.access), c.message);
    EXPECT_EQ(thrownMessage([&] { f.throwIfTypeNot(PropertyType::Float); }), "(no exception)");
}

TEST(Property, EqualityRules) {
    const std::vector<Vec3> nan3 = {{kNaN, 2, 3}};
    struct Case {
        Property left, right;
        bool equal;
        const char* what;
    };
    const std::vector<Case> cases = {
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
    for (const auto& c : cases) EXPECT_EQ(c.left == c.right, c.equal) << c.what;
}
}  // namespace
}  // namespace lumora
