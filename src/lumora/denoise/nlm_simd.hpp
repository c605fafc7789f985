#pragma once
// The broadcast of one lane, for the filters' inner loops.

#include "lumora/foundation/float4.hpp"

namespace lumora::nlm {

// Lane i of v in all four lanes.
template <int I>
inline Float4 broadcast(Float4 v) {
    alignas(16) float lanes[4];
    v.store(lanes);
    return Float4(lanes[I]);
}

}  // namespace lumora::nlm
