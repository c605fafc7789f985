#pragma once
// Merges several renders of one frame into a per-pixel weighted arithmetic mean.
//
// Each input is placed in the merged frame by the position of its data window; every output value
// is sum(weight * value) / sum(weight) over the inputs that cover the pixel. The sum of the weights
// stays in the result as a channel of its own, so a merged render can be merged again. Render
// statistics of LXR inputs are summed; post-processing properties and element metadata are taken
// from the first input that carries them, with a warning when later inputs disagree.
//
// Usage: add() once per input, then finish(). After finish() the accumulator is empty again.

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "lumora/foundation/geometry.hpp"
#include "lumora/image/channel_image.hpp"
#include "lumora/image/weight_descriptor.hpp"

namespace lumora {

class Accumulator {
public:
    using WarningLogger = std::function<void(const std::string&)>;

    // weightChannelName: the channel of the result that holds the sum of the weights.
    // warningLogger receives each distinct warning once per merge; it may be empty.
    Accumulator(std::string weightChannelName, WarningLogger warningLogger);

    // Adds the next input. The first input defines the merged frame; every later one must fit in
    // it. An input that does not fit, lacks its weight channel or whose channels do not match its
    // data window throws an Exception and leaves the accumulator unchanged.
    void add(const ChannelImage& input, const WeightDescriptor& weight);
    // Same; the input's memory is released once it has been accumulated.
    void add(ChannelImage&& input, const WeightDescriptor& weight);

    // Divides by the weight sums and returns the merged image (empty when nothing was added).
    ChannelImage finish();

    // Whether the input's data window lies inside the merged frame; true before the first input.
    bool fits(const ChannelImage& input) const;
    // The merged frame, once the first input has been added.
    std::optional<Bucket> getRegion() const;
    // Number of inputs added so far, minus one (-1 before the first).
    int getCount() const { return count_; }

private:
    void start(const ChannelImage& first, const WeightDescriptor& weight, const Bucket& region);
    void accumulate(const ChannelImage& input, const WeightDescriptor& weight, const Bucket& window,
                    const Bucket& region);
    void mergeMetadata(const ChannelImage& input);
    void warn(const std::string& text);

    ChannelImage image_;
    std::string weightChannelName_;
    int count_ = -1;
    std::set<std::string> warnings_;  // texts already reported in this merge
    WarningLogger warningLogger_;
};

}  // namespace lumora
