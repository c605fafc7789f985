#pragma once
// Picks, per pixel, the best of the three candidates of NlmTriFilter by Stein's unbiased risk
// estimate (SURE) of each candidate's squared error, which needs no noise-free reference: the
// squared distance from the noisy value, corrected by the variance and the divergence term.

#include "lumora/denoise/nlm_tri_filter.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct NlmSureFilter {
    // SURE of the three candidates of a pixel in lanes 0 to 2 (lane 3 is 0): for each, the sum
    // over the colour lanes of (F_i - u)² + σ² (2 D_i - 1).
    static Float4 estimate(const std::array<Float4, 3>& value, const std::array<Float4, 3>& divergence, Float4 noisy,
                           Float4 variance);

    // One-hot choice among the (smoothed) estimates; ties between candidates 0 and 1 set both.
    // Candidate 0 is practically ruled out where its divergence is larger than candidate 1's.
    static Float4 select(Float4 sure, Float4 divergence0, Float4 divergence1);

    // The SURE image of all pixels.
    static Bitmap<Float4> estimate(const TriCandidates& candidates, const Bitmap<Float4>& noisy,
                                   const Bitmap<Float4>& variance);
    // The selection image of all pixels.
    static Bitmap<Float4> select(const Bitmap<Float4>& sure, const TriCandidates& candidates);
    // The mean of the candidates weighted by the (smoothed) selection.
    static Bitmap<Float4> blend(const Bitmap<Float4>& selection, const TriCandidates& candidates);
};

}  // namespace lumora
