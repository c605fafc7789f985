#pragma once
// Three NLM filters of different strength at once, with what an error estimate of each needs.
//
// For every pixel the filter gives three candidates F_i (the colour filtered with its distances
// scaled by strength i) and their divergence terms D_i: how much F_i moves when the pixel's own
// value grows by 1 %, per unit of that change. Together with the pixel's variance they give the
// SURE estimate of each candidate's error. The weight sum of the middle candidate tells how many
// pixels went into it.
//
// NlmTriFilter<13, 7> (13 x 13 window, 7 x 7 patches) serves the finest level, NlmTriFilter<17, 3>
// (17 x 17 window, 3 x 3 patches) the coarser one. The feature floor grows with the distance of
// the neighbour, so far neighbours need more feature evidence to be excluded.

#include <array>
#include <optional>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/denoise/nlm_filter.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct TriCandidates {
    std::array<Bitmap<Float4>, 3> value;       // F_i
    std::array<Bitmap<Float4>, 3> divergence;  // D_i
    Bitmap<float> weightSum;                   // of the middle candidate; 1000 where not filtered
};

template <int Window, int Patch>
class NlmTriFilter {
public:
    // strengths: the factors of the three candidates' colour distances in lanes 0 to 2; lane 3 is
    // not used. colour and variance must outlive the filter.
    NlmTriFilter(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance, const NlmWindowParams& params,
                 Float4 strengths);

    // Filters the colour image; nothing when cancelled.
    std::optional<TriCandidates> run(BatchFilter& batch) const;

private:
    const Bitmap<Float4>& colour_;
    const Bitmap<Float4>& variance_;
    NlmWindowParams params_;
    Float4 strengths_;
};

}  // namespace lumora
