#pragma once
// Small images, message collectors and scratch folders for the pipeline tests.

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora::test {

// A w x h image with the given float channels, value(channel index, x, y) filling them, and the
// display and data windows at the origin.
ChannelImage makeImage(int width, int height, const std::vector<std::string>& channels,
                       const std::function<float(std::size_t, int, int)>& value = {});

// Adds the LXR marker and statistics.
void markAsLxr(ChannelImage& image, int passes = 1);

// The four lanes of a pixel, to compare in one line.
inline std::vector<float> lanes(Float4 v) { return {v[0], v[1], v[2], v[3]}; }

// Channel names of an image, in its order or sorted.
std::vector<std::string> channelNames(const ChannelImage& image, bool sorted = false);

// Every lane of actual equals, within tolerance, the pixel of expected at offset + (x, y); without
// an offset the two must have the same size.
void expectPixels(const Bitmap<Float4>& actual, const Bitmap<Float4>& expected,
                  std::optional<Pixel> offset = std::nullopt, float tolerance = 0.f);

// The sorted names of the files in a folder, hidden ones included, but for those in except.
std::vector<std::string> filesIn(const std::filesystem::path& folder, const std::vector<std::string>& except = {});

// Stands in for an operator upstream of the one under test: fixed pictures by element name, of
// the size of its region rect, served only whole at scale 1 unless anyPart is set; it counts the
// compute calls per element and keeps the last scale asked for.
class FakeSource final : public IOperator, public IImageInfoProvider {
public:
    explicit FakeSource(Bucket rect) : rect(rect) {}

    std::int64_t getTimestamp() const override { return time; }
    std::vector<ElementInfo> getElements() const override { return elements; }
    Bucket getImageRect() const override { return image.value_or(rect); }
    Bucket getRegion() const override { return rect; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned) override;
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned) override;
    std::optional<RenderElementInfo> findRenderElementInfo(const std::string& displayName) const override {
        return lumora::findRenderElementInfo(records, displayName);
    }
    std::vector<ElementInfo> getElementInfos() const override { return elements; }
    std::int64_t getElementsTimestamp() const override { return time; }

    int calls(const std::string& name) const;

    Bucket rect;
    bool anyPart = false;
    std::optional<Bucket> image;  // around the region; the region itself when absent
    float lastScale = 0.f;
    std::int64_t time = 1;
    std::vector<ElementInfo> elements;
    std::vector<RenderElementInfo> records;
    std::map<std::string, Bitmap<Float4>> colour;
    std::map<std::string, Bitmap<float>> mono;

private:
    template <class Picture>
    std::optional<Picture> serve(const std::map<std::string, Picture>& pictures, const ElementInfo& element,
                                 const Bucket& region, float scale);

    mutable std::mutex mutex_;
    std::map<std::string, int> calls_;
};

// Thread-safe collector of the texts an operator reports through one callback.
class MessageLog {
public:
    std::shared_ptr<const std::function<void(const std::string&)>> callback();
    std::vector<std::string> texts() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

// The load's message for an input without its weight channel; with an executable's name it ends
// with the hint that the command-line editor adds.
std::string missingWeightsMessage(const std::string& image, const std::string& channel,
                                  const std::string& executable = "");

}  // namespace lumora::test
