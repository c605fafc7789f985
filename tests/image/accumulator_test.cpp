#include "lumora/image/accumulator.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <tuple>
#include <string>
#include <utility>
#include <vector>

#include "lumora/foundation/exception.hpp"

namespace lumora {
namespace {

using Fill = std::function<float(int x, int y)>;  // frame coordinates

Bucket box(int x0, int y0, int x1, int y1) { return Bucket{{x0, y0}, {x1, y1}}; }

Fill constant(float v) {
    return [v](int, int) { return v; };
}

// An image whose data window is `window` (display window the same unless given); each channel is
// filled from its function at the pixel's frame position.
ChannelImage makeImage(const Bucket& window, const std::vector<std::pair<std::string, Fill>>& channels,
                       const Bucket* display = nullptr) {
    ChannelImage image;
    image.setAttribute(names::dataWindow, window);
    image.setAttribute(names::displayWindow, display ? *display : window);
    image.setAttribute(names::gamma, 1.f);
    for (const auto& [name, fill] : channels) {
        auto channel = std::make_unique<Channel<float>>(name, window.width(), window.height());
        for (int y = 0; y < window.height(); ++y) {
            for (int x = 0; x < window.width(); ++x) channel->at(x, y) = fill(window.min.x + x, window.min.y + y);
        }
        image.addChannel(std::move(channel));
    }
    return image;
}

ChannelImage makeRgbImage(const Bucket& window, float value) {
    return makeImage(window, {{"R", constant(value)}, {"G", constant(value)}, {"B", constant(value)}});
}

// An LXR render whose statistics are 10 (i + 1) passes, i + 1 seconds, 100 (i + 1) rays per second and
// 1.5 + i rays per sample.
ChannelImage makeLxrImage(const Bucket& window, int i = 0) {
    ChannelImage image = makeRgbImage(window, 1.f);
    image.setAttribute(names::isLumoraExr, 1);
    image.setAttribute(names::statsPasses, 10 * (i + 1));
    image.setAttribute(names::statsTime, i + 1);
    image.setAttribute(names::statsRaysPerSecond, 100 * (i + 1));
    image.setAttribute(names::statsRaysPerSample, 1.5f + float(i));
    return image;
}

const WeightDescriptor one = WeightDescriptor::constant(1.f);

// Compares every pixel of a result channel with the expectation, naming the first mismatch.
void expectChannel(const ChannelImage& image, const std::string& name, const Fill& expected) {
    const auto* channel = image.getChannel<float>(name);
    ASSERT_NE(channel, nullptr) << "channel " << name;
    const Bucket window = image.getAttribute<Bucket>(names::dataWindow)->value;
    ASSERT_EQ(channel->width, window.width());
    ASSERT_EQ(channel->height, window.height());
    for (int y = 0; y < window.height(); ++y) {
        for (int x = 0; x < window.width(); ++x) {
            const float want = expected(window.min.x + x, window.min.y + y);
            const float got = channel->at(x, y);
            if (!(std::isfinite(got) && std::fabs(got - want) <= 1e-5f * std::max(1.f, std::fabs(want)))) {
                FAIL() << "channel " << name << " pixel (" << window.min.x + x << ", " << window.min.y + y
                       << "): expected " << want << ", got " << got;
            }
        }
    }
}

struct Merge {
    std::vector<std::string> warnings;
    Accumulator accumulator{names::weights, [this](const std::string& text) { warnings.push_back(text); }};
};

const std::string notLxrWarning =
    "One or more of the merged images have not been recognized as LXR images. The resulting postprocessing "
    "properties and/or render statistics of the merged image may be incorrect.";
const std::string propertiesWarning =
    "One or more postprocessing properties differed among the merged images. Using properties from the first "
    "image.";
const std::string elementsWarning =
    "Element metadata differed among the merged images. Using element metadata from the first image.";

// --- Weighted mean -------------------------------------------------------------------------------

// Both inputs carry a renderer weight channel and a custom one; the weight each input contributes
// is its constant or the named channel, never the other channel.
TEST(AccumulatorTest, EveryValueIsTheWeightedMeanAndTheWeightSumIsKept) {
    const WeightDescriptor fb = WeightDescriptor::channel(names::weights), custom = WeightDescriptor::channel("W");
    const std::vector<std::tuple<const char*, WeightDescriptor, WeightDescriptor>> cases{
        {"renderer channel", fb, fb},
        {"constant then channel", WeightDescriptor::constant(2.f), fb},
        {"channel then constant", custom, WeightDescriptor::constant(0.5f)},
    };
    const Bucket window = box(3, 2, 10, 5);  // 7 wide: vector body plus a scalar tail
    const Fill v1 = [](int x, int y) { return 0.5f + x + 10.f * y; };
    const Fill v2 = [](int x, int y) { return 3.f - 0.25f * x * y; };
    const Fill fb1 = [](int x, int) { return 1.f + x; };
    const Fill fb2 = [](int, int y) { return 2.f + y; };
    const Fill custom1 = [](int x, int y) { return 0.5f * (x + y); };
    const Fill custom2 = constant(4.f);
    const auto weightOf = [](const WeightDescriptor& d, const Fill& renderer, const Fill& own) -> Fill {
        if (d.isConstant()) return constant(d.getConstant());
        return d.getChannelName() == names::weights ? renderer : own;
    };
    for (const auto& [label, first, second] : cases) {
        SCOPED_TRACE(label);
        ChannelImage a =
            makeImage(window, {{"R", v1}, {"G", v2}, {"B", constant(7.f)}, {names::weights, fb1}, {"W", custom1}});
        ChannelImage b =
            makeImage(window, {{"R", v2}, {"G", v1}, {"B", constant(7.f)}, {names::weights, fb2}, {"W", custom2}});
        const Fill w1 = weightOf(first, fb1, custom1);
        const Fill w2 = weightOf(second, fb2, custom2);

        Merge merge;
        merge.accumulator.add(a, first);
        merge.accumulator.add(std::move(b), second);
        const ChannelImage result = merge.accumulator.finish();

        auto mean = [&](const Fill& p, const Fill& q) -> Fill {
            return [&, p, q](int x, int y) {
                return (w1(x, y) * p(x, y) + w2(x, y) * q(x, y)) / (w1(x, y) + w2(x, y));
            };
        };
        expectChannel(result, "R", mean(v1, v2));
        expectChannel(result, "G", mean(v2, v1));
        expectChannel(result, "B", constant(7.f));
        expectChannel(result, names::weights, [&](int x, int y) { return w1(x, y) + w2(x, y); });
        EXPECT_EQ(result.getAttribute<Bucket>(names::dataWindow)->value, window);
        EXPECT_EQ(result.getAttribute<Bucket>(names::displayWindow)->value, window);
        EXPECT_TRUE(merge.warnings == std::vector<std::string>{notLxrWarning});
    }
}

TEST(AccumulatorTest, PixelsWithoutWeightBecomeZeroWithoutNan) {
    const Bucket window = box(0, 0, 9, 2);
    // Weight 0 on even columns in both inputs; the values there are huge or infinite.
    const Fill weight = [](int x, int) { return x % 2 == 0 ? 0.f : 1.f; };
    const Fill value = [](int x, int) { return x % 2 == 0 ? INFINITY : 2.f; };
    Merge merge;
    for (int i = 0; i < 2; ++i) {
        ChannelImage input = makeImage(
            window, {{"R", constant(1e30f)}, {"G", value}, {"B", constant(1.f)}, {names::weights, weight}});
        merge.accumulator.add(std::move(input), WeightDescriptor::channel(names::weights));
    }
    const ChannelImage result = merge.accumulator.finish();
    expectChannel(result, "R", [](int x, int) { return x % 2 == 0 ? 0.f : 1e30f; });
    expectChannel(result, "B", [](int x, int) { return x % 2 == 0 ? 0.f : 1.f; });
    // 0 * inf is NaN in the sum; the zero weight sum still gives 0.
    expectChannel(result, "G", [](int x, int) { return x % 2 == 0 ? 0.f : 2.f; });
    expectChannel(result, names::weights, [](int x, int) { return x % 2 == 0 ? 0.f : 2.f; });
}

// --- Placement -------------------------------------------------------------------------------------

TEST(AccumulatorTest, InputsArePlacedByTheirDataWindow) {
    // Tall enough that rows are split over several threads.
    const Bucket frame = box(10, 20, 74, 2020);
    const Fill v1 = [](int x, int y) { return float(x + 100 * y); };
    Merge merge;
    merge.accumulator.add(makeImage(frame, {{"R", v1}, {"G", v1}, {"B", v1}}), one);
    // Offset by (16, 1) from the frame's origin and 13 wide.
    const Bucket part = box(26, 21, 39, 1823);
    ASSERT_TRUE(merge.accumulator.fits(makeImage(part, {{"R", constant(0.f)}})));
    merge.accumulator.add(makeRgbImage(part, -5.f), one);
    const ChannelImage result = merge.accumulator.finish();

    auto inPart = [&](int x, int y) { return x >= 26 && x < 39 && y >= 21 && y < 1823; };
    expectChannel(result, "R", [&](int x, int y) { return inPart(x, y) ? (v1(x, y) - 5.f) / 2.f : v1(x, y); });
    expectChannel(result, names::weights, [&](int x, int y) { return inPart(x, y) ? 2.f : 1.f; });
}

TEST(AccumulatorTest, FirstImageDefinesBothWindows) {
    struct Case {
        const char* label;
        Bucket display, data, region;
    };
    const Case cases[] = {
        {"data inside display", box(0, 0, 8, 8), box(2, 2, 4, 4), box(0, 0, 8, 8)},
        {"display inside data", box(0, 0, 8, 8), box(-4, -2, 12, 9), box(-4, -2, 12, 9)},
        {"overlapping", box(0, 0, 8, 8), box(4, -3, 10, 5), box(0, -3, 10, 8)},
        {"empty display", box(5, 5, 5, 9), box(1, 2, 3, 4), box(1, 2, 3, 4)},
        {"empty data", box(0, 0, 6, 3), box(2, 2, 2, 2), box(0, 0, 6, 3)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        Merge merge;
        merge.accumulator.add(makeImage(c.data, {{"R", constant(1.f)}}, &c.display), one);
        EXPECT_EQ(merge.accumulator.getRegion(), c.region);
        const ChannelImage result = merge.accumulator.finish();
        EXPECT_EQ(result.getAttribute<Bucket>(names::displayWindow)->value, c.region);
        EXPECT_EQ(result.getAttribute<Bucket>(names::dataWindow)->value, c.region);
        // The first input lands at its own place in the region, zero elsewhere.
        expectChannel(result, "R", [&](int x, int y) {
            return x >= c.data.min.x && x < c.data.max.x && y >= c.data.min.y && y < c.data.max.y ? 1.f : 0.f;
        });
    }
}

// --- Channels --------------------------------------------------------------------------------------

TEST(AccumulatorTest, ChannelsOnOneSideOnlyAreLeftAlone) {
    const Bucket window = box(0, 0, 4, 4);
    Merge merge;
    merge.accumulator.add(makeImage(window, {{"R", constant(2.f)}, {"Extra", constant(6.f)}}), one);
    merge.accumulator.add(
        makeImage(window, {{"R", constant(4.f)}, {"Extra", constant(100.f)}, {"Later", constant(9.f)}}), one);
    merge.accumulator.add(makeImage(window, {{"R", constant(6.f)}}), one);
    const ChannelImage result = merge.accumulator.finish();
    expectChannel(result, "R", constant(4.f));
    expectChannel(result, "Extra", constant(106.f / 3.f));
    EXPECT_EQ(result.getChannel<float>("Later"), nullptr);
    std::vector<std::string> channelNames;
    for (const auto& [name, channel] : result.channels()) channelNames.push_back(name);
    EXPECT_EQ(channelNames, (std::vector<std::string>{"Extra", names::weights, "R"}));
}

// --- Metadata and statistics -----------------------------------------------------------------------

TEST(AccumulatorTest, EachWarningIsIssuedOncePerMerge) {
    const Bucket window = box(0, 0, 2, 2);
    auto lxr = [&](float exposure, const std::string& elements) {
        ChannelImage image = makeLxrImage(window);
        image.setAttribute("lumora.cm.simpleexposure", exposure);
        image.setAttribute(names::elements, elements);
        return image;
    };
    Merge merge;
    merge.accumulator.add(lxr(0.f, "\"a\""), one);
    // A property the first input lacks is still taken over after another one has disagreed.
    ChannelImage second = lxr(1.f, "\"b\"");
    second.setAttribute("lumora.bg.streakcount", 5);
    merge.accumulator.add(std::move(second), one);
    merge.accumulator.add(makeImage(window, {{"R", constant(1.f)}}), one);
    merge.accumulator.add(lxr(2.f, "\"c\""), one);
    merge.accumulator.add(makeImage(window, {{"R", constant(1.f)}}), one);
    const ChannelImage result = merge.accumulator.finish();
    EXPECT_EQ(merge.warnings, (std::vector<std::string>{propertiesWarning, elementsWarning, notLxrWarning}));
    EXPECT_EQ(result.getAttribute<float>("lumora.cm.simpleexposure")->value, 0.f);
    ASSERT_NE(result.getAttribute<int>("lumora.bg.streakcount"), nullptr);
    EXPECT_EQ(result.getAttribute<int>("lumora.bg.streakcount")->value, 5);
    EXPECT_EQ(result.getAttribute<std::string>(names::elements)->value, "\"a\"");

    // A new merge reports again; a plain first image gives no statistics or metadata.
    merge.warnings.clear();
    merge.accumulator.add(makeImage(window, {{"R", constant(1.f)}}), one);
    merge.accumulator.add(lxr(1.f, "\"b\""), one);
    const ChannelImage plain = merge.accumulator.finish();
    EXPECT_EQ(merge.warnings, std::vector<std::string>{notLxrWarning});
    EXPECT_FALSE(isLumoraExr(plain));
    EXPECT_EQ(plain.getAttribute<int>(names::statsPasses), nullptr);
    EXPECT_EQ(plain.getAttribute<float>("lumora.cm.simpleexposure"), nullptr);
    EXPECT_EQ(plain.getAttribute<std::string>(names::elements), nullptr);
}

TEST(AccumulatorTest, MetadataAgreementRules) {
    const Bucket window = box(0, 0, 2, 2);
    using Change = std::function<void(ChannelImage&)>;
    struct Case {
        const char* label;
        Change first, second;
        std::vector<std::string> warnings;
    };
    const auto set = [](const std::string& name, auto value) -> Change {
        return [=](ChannelImage& i) { i.setAttribute(name, value); };
    };
    const std::string streaks = "lumora.bg.streakcount", threads = "lumora.system.numthreads";
    const std::vector<Case> cases = {
        {"property missing in later input", set(streaks, 4), [](ChannelImage&) {}, {}},
        {"property of another type", set(streaks, 4), set(streaks, 4.f), {propertiesWarning}},
        {"differing non-post-processing property", set(threads, 1), set(threads, 2), {}},
        {"differing light-select list", set(names::lightmixElements, std::string("\"K1\"")),
         set(names::lightmixElements, std::string("\"K2\"")), {elementsWarning}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        ChannelImage a = makeLxrImage(window);
        ChannelImage b = makeLxrImage(window);
        c.first(a);
        c.second(b);
        Merge merge;
        merge.accumulator.add(a, one);
        merge.accumulator.add(b, one);
        const ChannelImage result = merge.accumulator.finish();
        EXPECT_EQ(merge.warnings, c.warnings);
        // The first input's value is kept.
        if (a.attributes().contains("lumora.bg.streakcount")) {
            ASSERT_NE(result.getAttribute<int>("lumora.bg.streakcount"), nullptr);
            EXPECT_EQ(result.getAttribute<int>("lumora.bg.streakcount")->value, 4);
        }
    }
}

TEST(AccumulatorTest, StatisticsAreSummedAndRaysPerSampleDividedByCount) {
    // Inputs carry 1.5, 2.5, 3.5 rays per sample; their sum is divided by one less than their number,
    // and a single input keeps its own value.
    for (const auto& [inputs, raysPerSample] : {std::pair{1, 1.5f}, {2, 4.f}, {3, 7.5f / 2.f}}) {
        SCOPED_TRACE(inputs);
        Merge merge;
        for (int i = 0; i < inputs; ++i) merge.accumulator.add(makeLxrImage(box(0, 0, 3, 3), i), one);
        const ChannelImage result = merge.accumulator.finish();
        const int n = inputs * (inputs + 1) / 2;
        ASSERT_TRUE(isLumoraExr(result));
        EXPECT_EQ(result.getAttribute<int>(names::statsPasses)->value, 10 * n);
        EXPECT_EQ(result.getAttribute<int>(names::statsTime)->value, n);
        EXPECT_EQ(result.getAttribute<int>(names::statsRaysPerSecond)->value, 100 * n);
        EXPECT_FLOAT_EQ(result.getAttribute<float>(names::statsRaysPerSample)->value, raysPerSample);
        EXPECT_TRUE(merge.warnings.empty());
    }
}

// --- Rejected inputs -------------------------------------------------------------------------------

TEST(AccumulatorTest, BadInputsAreRejectedAndLeaveTheMergeUnchanged) {
    const Bucket frame = box(0, 0, 64, 8);
    // label, bad input, its weight, message
    const std::vector<std::tuple<const char*, std::function<ChannelImage()>, WeightDescriptor, std::string>> cases = {
        {"outside the frame", [&] { return makeImage(box(40, 0, 80, 8), {{"R", constant(1.f)}}); }, one,
         "Image to be merged does not fit within the merged output image."},
        {"missing weight channel", [&] { return makeImage(frame, {{"R", constant(1.f)}}); },
         WeightDescriptor::channel("W"),
         "Image to be merged is missing channel \"W\", expected to contain pixel weights."},
        {"channel size differs from the data window",
         [&] {
             ChannelImage image = makeImage(frame, {{"R", constant(1.f)}});
             image.getChannel<float>("R")->resize(8, 8);
             return image;
         },
         one, "Channel \"R\" of the image to be merged does not match the size of its data window."},
        {"no data window",
         [&] {
             ChannelImage image = makeImage(frame, {{"R", constant(1.f)}});
             image.attributes().erase(names::dataWindow);
             return image;
         },
         one, "Image to be merged has no data window."},
    };
    for (const auto& [label, input, weight, message] : cases) {
        SCOPED_TRACE(label);
        Merge merge;
        merge.accumulator.add(makeImage(frame, {{"R", constant(2.f)}}), one);
        ChannelImage bad = input();
        try {
            merge.accumulator.add(bad, weight);
            ADD_FAILURE() << "no exception";
        } catch (const Exception& e) {
            EXPECT_EQ(std::string(e.what()), message);
        }
        EXPECT_EQ(merge.accumulator.getCount(), 0);
        const ChannelImage result = merge.accumulator.finish();
        expectChannel(result, "R", constant(2.f));
        expectChannel(result, names::weights, constant(1.f));
    }

    // A first input without its weight channel leaves nothing to merge.
    Merge merge;
    EXPECT_THROW(merge.accumulator.add(makeRgbImage(frame, 1.f), WeightDescriptor::channel(names::weights)), Exception);
    EXPECT_EQ(merge.accumulator.getCount(), -1);
    EXPECT_EQ(merge.accumulator.finish().channels().size(), 0u);
}

}  // namespace
}  // namespace lumora
