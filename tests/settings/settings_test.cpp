#include "lumora/settings/settings.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

using test::thrownMessage;

int storedCount(const Settings& settings) {
    int count = 0;
    settings.forEachStored([&count](int, const Property&) { ++count; });
    return count;
}

TEST(SettingsGet, ReadingStoresTheDefaultAndUnknownIdsThrow) {
    Settings settings;
    EXPECT_EQ(storedCount(settings), 0);
    EXPECT_EQ(settings.get(PropertyId::systemNumThreads), Property(0));
    std::vector<int> stored;
    settings.forEachStored([&stored](int id, const Property&) { stored.push_back(id); });
    EXPECT_EQ(stored, std::vector<int>{PropertyId::systemNumThreads});
    EXPECT_EQ(settings.getNumWorkerThreads(), utils::getLogicalProcessorCount());

    EXPECT_EQ(thrownMessage([&] { settings.get(5); }), "Requested property id is not defined.");
    EXPECT_EQ(storedCount(settings), 1);
}

struct NotificationCounter {
    std::vector<std::pair<int, Property>> calls;
    Settings::Listener listener() {
        return [this](int id, const Property& value) { calls.emplace_back(id, value); };
    }
};

TEST(SettingsSet, NotifiesOnlyRealChanges) {
    Settings settings;
    NotificationCounter counter;
    settings.addListener(PropertyId::colorMapEnabled, counter.listener());
    settings.set(PropertyId::colorMapEnabled, Property(true));   // new entry
    settings.set(PropertyId::colorMapEnabled, Property(true));   // same value
    settings.set(PropertyId::colorMapEnabled, Property(false));  // change
    settings.set(PropertyId::colorMapEnabled, Property(0));      // type change
    settings.set(PropertyId::colorMapGamma, Property(5.f));      // other id
    settings.set(5, Property(1));                                 // set checks nothing, not even the id
    ASSERT_EQ(counter.calls.size(), 3u);
    EXPECT_EQ(counter.calls[1].second.asBool(), false);
    EXPECT_EQ(counter.calls[2].second.type(), PropertyType::Int);
    EXPECT_EQ(settings.get(PropertyId::colorMapEnabled).type(), PropertyType::Int);

    // an empty value replacing an empty value is no change either
    settings.set(PropertyId::colorMapEnabled, Property());
    settings.set(PropertyId::colorMapEnabled, Property());
    EXPECT_EQ(counter.calls.size(), 4u);

    // NaN compares equal to any float, so it replaces nothing
    NotificationCounter gamma;
    settings.addListener(PropertyId::colorMapGamma, gamma.listener());
    settings.set(PropertyId::colorMapGamma, Property(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_TRUE(gamma.calls.empty());
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 5.f);

    // Disabled notification and removed listeners call nothing.
    NotificationCounter removed;
    const int handle = settings.addListener(PropertyId::colorMapGamma, removed.listener());
    settings.setNotificationEnabled(false);
    settings.set(PropertyId::colorMapGamma, Property(3.f));
    settings.setNotificationEnabled(true);
    settings.set(PropertyId::colorMapGamma, Property(4.f));
    settings.removeListener(handle);
    settings.set(PropertyId::colorMapGamma, Property(6.f));
    ASSERT_EQ(removed.calls.size(), 1u);
    EXPECT_EQ(removed.calls[0].second.asFloat(), 4.f);
    EXPECT_EQ(gamma.calls.size(), 2u);
}

TEST(SettingsSet, ListenersMayReadTheContainer) {
    // A listener called under the data lock would dead-lock here.
    Settings settings;
    float seen = 0.f;
    settings.addListener(PropertyId::colorMapGamma, [&](int id, const Property&) { seen = settings.getFloat(id); });
    settings.set(PropertyId::colorMapGamma, Property(1.25f));
    EXPECT_EQ(seen, 1.25f);
}

TEST(SettingsSet, NotificationsOfConcurrentSetsNeverInterleave) {
    Settings settings;
    std::atomic<int> inside{0}, overlaps{0}, calls{0};
    settings.addListener(PropertyId::denoiseSensitivity, [&](int, const Property&) {
        if (inside.fetch_add(1) != 0) ++overlaps;
        std::this_thread::yield();
        ++calls;
        inside.fetch_sub(1);
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&settings, t] {
            for (int i = 0; i < 500; ++i) {
                settings.set(PropertyId::denoiseSensitivity, Property(static_cast<float>(t * 1000 + i)));
                (void)settings.get(PropertyId::denoiseSensitivity);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_GT(calls.load(), 0);
}

TEST(SettingsWorkerThreads, RuleForAnEightProcessorMachine) {
    const std::vector<std::pair<int, int>> cases = {
        {0, 8}, {3, 3}, {8, 8}, {64, 8}, {-2, 6}, {-7, 1}, {-8, 1}, {-20, 1}, {-256, 1}, {256, 8}};
    for (const auto& [setting, expected] : cases) {
        EXPECT_EQ(Settings::computeNumWorkerThreads(setting, 8), expected) << "setting " << setting;
    }
}

TEST(SettingsRandomSeed, StoredSeedOrFreshNonNegativeOne) {
    Settings settings;
    EXPECT_EQ(settings.getRandomSeed(), 1234u);
    settings.set(PropertyId::systemRandomSeed, Property(0));
    std::set<std::uint32_t> seeds;
    for (int i = 0; i < 4; ++i) {
        const std::uint32_t seed = settings.getRandomSeed();
        EXPECT_LT(seed, 1u << 31);
        seeds.insert(seed);
    }
    EXPECT_GT(seeds.size(), 1u);
}

TEST(SettingsValidate, ReportsTheFirstInvalidValueWithItsReason) {
    const std::string wrongGamma = "Property colorMap.gamma is invalid. Value has wrong type.";
    const std::string streaks = "Property bloomGlare.streakCount is invalid. Value is expected to be between 1 and 8.";
    const std::vector<std::pair<std::vector<std::pair<int, Property>>, std::string>> cases = {
        {{{PropertyId::colorMapGamma, Property(3)}}, wrongGamma},
        {{{PropertyId::bloomGlareStreakCount, Property(0)}}, streaks},
        {{{PropertyId::systemThreadPriority, Property(3)}},
         "Property system.threadPriority is invalid. Value is expected to be between -2 and 2."},
        {{{169, Property(0.f)}},
         "Property geometry.displace.maxSizeWorld is invalid. Value is expected to be between 1e-05 and inf."},
        {{{5, Property(1)}}, "Property 5 is invalid. Value is unrecognized."},
        // the lowest id is reported whatever the order of setting
        {{{PropertyId::bloomGlareStreakCount, Property(9)}, {PropertyId::colorMapGamma, Property(true)}}, wrongGamma},
        // limits are inclusive, NaN passes and unlimited types are not checked
        {{{PropertyId::colorMapGamma, Property(10.f)},
          {PropertyId::bloomGlareStreakCount, Property(1)},
          {PropertyId::denoiseSensitivity, Property(std::numeric_limits<float>::quiet_NaN())},
          {PropertyId::systemThreadPriority, Property(-1)},
          {149, Property("anything")}},
         "(no exception)"},
    };
    for (const auto& [values, message] : cases) {
        Settings settings;
        for (const auto& [id, value] : values) settings.set(id, value);
        EXPECT_EQ(thrownMessage([&] { settings.validate(); }), message);
        // validation clamps nothing
        settings.forEachStored([&](int id, const Property& stored) {
            EXPECT_TRUE(std::ranges::any_of(values, [&](const auto& v) {
                return v.first == id && v.second.type() == stored.type() && v.second == stored;
            })) << id;
        });
    }
}

}  // namespace
}  // namespace lumora
