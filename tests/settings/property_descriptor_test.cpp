#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "lumora/settings/enums.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

std::vector<const PropertyDescriptor*> registeredDescriptors() {
    std::vector<const PropertyDescriptor*> all;
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& d) { all.push_back(&d); });
    return all;
}

const PropertyDescriptor& registered(int id) {
    const PropertyDescriptor* d = PropertyDescriptor::get(id);
    if (d == nullptr) throw std::runtime_error("id " + std::to_string(id) + " is not registered");
    return *d;
}

TEST(PropertyDescriptorTest, RegistryHoldsEveryBuiltInPropertyOnceInIdOrderWithDistinctNames) {
    const auto table = PropertyDescriptor::builtInDescriptors();
    const auto all = registeredDescriptors();
    ASSERT_EQ(all.size(), table.size());  // a repeated id would collapse
    EXPECT_EQ(PropertyDescriptor::descriptorsCount(), 188);
    EXPECT_TRUE(std::ranges::is_sorted(all, std::less<>{}, &PropertyDescriptor::id));
    std::set<std::string> names, exrNames;
    for (const auto* d : all) {
        EXPECT_EQ(PropertyDescriptor::get(d->id), d);
        EXPECT_TRUE(names.insert(d->name).second) << d->name;
        // Header attributes must stay distinct and carry no upper case.
        const std::string exr = getPropertyExrName(*d);
        EXPECT_TRUE(exrNames.insert(exr).second && exr.starts_with("lumora.")) << exr;
        EXPECT_TRUE(std::ranges::none_of(exr, [](unsigned char c) { return std::isupper(c) != 0; })) << exr;
    }
    for (const int unknown : {-1, 0, 9, 1074}) EXPECT_EQ(PropertyDescriptor::get(unknown), nullptr);
    EXPECT_EQ(getPropertyExrName(registered(PropertyId::colorMapFilmicHighlightCompression)), "lumora.cm.filmic.hlcompr");
    EXPECT_EQ(getPropertyExrName(registered(PropertyId::sharpeningBlurringEnable)), "lumora.sharp.blur.enable");

    // Release builds replace some defaults.
    const auto stamp = std::ranges::find(table, PropertyId::renderstampUse, &PropertyDescriptor::id);
    EXPECT_EQ(stamp->defaultValue, Property(true));
    EXPECT_EQ(registered(PropertyId::renderstampUse).defaultValue, Property(false));
    EXPECT_TRUE(registered(PropertyId::renderstampUse).hasFlag(PropertyDescriptor::ReleaseDefault));
}

// Catches table slips: a default of the wrong type, limits that exclude the default, named
// constants that disagree with the limits.
TEST(PropertyDescriptorTest, DefaultsHaveTheDescriptorTypeAndLieWithinTheLimits) {
    for (const auto* d : registeredDescriptors()) {
        SCOPED_TRACE(d->name);
        ASSERT_EQ(d->defaultValue.type(), d->type);
        ASSERT_EQ(d->minValue.isEmpty(), d->maxValue.isEmpty());
        if (d->enumSerializer) {
            EXPECT_EQ(d->minValue.asInt(), d->enumSerializer->minValue());
            EXPECT_EQ(d->maxValue.asInt(), d->enumSerializer->maxValue());
            EXPECT_FALSE(d->enumSerializer->toString(d->defaultValue).empty());
        }
        if (d->minValue.isEmpty()) {
            EXPECT_TRUE(d->type != PropertyType::Int && d->type != PropertyType::Float);
        } else if (d->type == PropertyType::Int) {
            EXPECT_LE(d->minValue.asInt(), d->defaultValue.asInt());
            EXPECT_LE(d->defaultValue.asInt(), d->maxValue.asInt());
        } else {
            ASSERT_EQ(d->type, PropertyType::Float);
            EXPECT_LE(d->minValue.asFloat(), d->defaultValue.asFloat());
            EXPECT_LE(d->defaultValue.asFloat(), d->maxValue.asFloat());
        }
    }
}

TEST(PropertyDescriptorTest, NameHashIdentifiesTheSetOfNames) {
    // Stored with settings data; a change here means a property name changed.
    EXPECT_EQ(PropertyDescriptor::descriptorsHash(), 0xb6ccf2u);

    std::vector<std::string> names;
    for (const auto* d : registeredDescriptors()) names.push_back(d->name);
    std::ranges::reverse(names);
    EXPECT_EQ(PropertyDescriptor::namesHash(names), PropertyDescriptor::descriptorsHash());
    names.push_back("host.extraSetting");
    EXPECT_NE(PropertyDescriptor::namesHash(names), PropertyDescriptor::descriptorsHash());

    // Hashed as UTF-16 code units, two bytes each.
    EXPECT_EQ(PropertyDescriptor::namesHash({}), 0x585870u);
    EXPECT_EQ(PropertyDescriptor::namesHash({"a"}), 0x80f64cu);
    EXPECT_LE(PropertyDescriptor::namesHash({"\xc3\xa9t\xc3\xa9"}), 0xFFFFFFu);
}

// The registry is filled once per process, so start-up behaviour is checked in a fresh process:
// the body returns an error text, empty on success.
void expectInFreshProcess(const std::function<std::string()>& body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const std::string error = body();
            std::cerr << error;
            std::exit(error.empty() ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(PropertyRegistryStartupDeathTest, ConcurrentFirstUseRegistersOnce) {
    expectInFreshProcess([] {
        std::vector<int> counts(8);
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            threads.emplace_back([&counts, i] {
                counts[i] = PropertyDescriptor::get(PropertyId::colorMapGamma) != nullptr
                                ? PropertyDescriptor::descriptorsCount()
                                : -1;
            });
        }
        for (auto& t : threads) t.join();
        for (const int c : counts) {
            if (c != 188) return "a thread saw " + std::to_string(c) + " descriptors";
        }
        return std::string();
    });
}

TEST(PropertyRegistryStartupDeathTest, HostDescriptorsAreAddedOrReplaceBuiltIns) {
    expectInFreshProcess([] {
        const PropertyDescriptor extra{.type = PropertyType::Int, .id = 5000, .name = "host.extraSetting",
                                       .defaultValue = Property(1)};
        const PropertyDescriptor gamma{.type = PropertyType::Float, .id = PropertyId::colorMapGamma,
                                       .name = "host.gamma", .defaultValue = Property(1.f)};
        PropertyDescriptor::registerDescriptors({extra, gamma});
        PropertyDescriptor::registerDescriptors({});  // later calls change nothing

        std::vector<std::string> expectedNames;
        for (const auto& d : PropertyDescriptor::builtInDescriptors()) {
            expectedNames.push_back(d.id == PropertyId::colorMapGamma ? "host.gamma" : d.name);
        }
        expectedNames.push_back("host.extraSetting");

        if (PropertyDescriptor::descriptorsCount() != 189) return std::string("count");
        const auto* added = PropertyDescriptor::get(5000);
        if (added == nullptr || added->flags != PropertyDescriptor::DescriptorDefault) return std::string("added");
        const auto* replaced = PropertyDescriptor::get(PropertyId::colorMapGamma);
        if (replaced == nullptr || replaced->name != "host.gamma" ||
            replaced->flags != (PropertyDescriptor::DescriptorDefault | PropertyDescriptor::PostProcessing)) {
            return std::string("replaced");
        }
        if (PropertyDescriptor::descriptorsHash() != PropertyDescriptor::namesHash(expectedNames) ||
            PropertyDescriptor::descriptorsHash() == 0xb6ccf2u) {
            return std::string("hash");
        }
        return std::string();
    });
}

}  // namespace
}  // namespace lumora
