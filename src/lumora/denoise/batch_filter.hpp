#pragma once
// Applies a filter to a whole image: rows in parallel on the scheduler, one row per task, with
// progress reported before each row and a stop at the next row once the run is cancelled. Pixels
// within the filter's support radius of an edge go through filterBorder, all others through
// filterInterior; every output pixel is written exactly once.

#include <functional>
#include <optional>

#include "lumora/denoise/nlm_filter_base.hpp"
#include "lumora/denoise/task_context.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

class BatchFilter {
public:
    explicit BatchFilter(TaskContext& context) : context_(context) {}

    // image and out hold width x height pixels of the filter; out must not alias image.
    // Returns false when cancelled, with out partly written.
    bool run(NlmFilterBase& filter, const Float4* image, Float4* out);

    // As above into a new image; no image when cancelled.
    std::optional<Bitmap<Float4>> run(NlmFilterBase& filter, const Bitmap<Float4>& image);

    // Runs body(y0, y1) over the bands [y0, y1) of `rows` rows (the last one shorter) that cover
    // [0, height), bands in parallel, with progress reported and cancellation checked before each
    // band. Where the bands begin depends only on height and rows, never on the threads. Returns
    // false when cancelled.
    bool runBands(int height, int rows, const std::function<void(int, int)>& body);

    TaskContext& context() { return context_; }

private:
    TaskContext& context_;
};

}  // namespace lumora
