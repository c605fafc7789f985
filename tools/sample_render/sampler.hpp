#pragma once
// Random numbers for one sample. Each (seed, pixel, pass) gets its own PCG32 stream, derived by
// hashing, so a pixel's samples never depend on which thread renders it or on the image region.

#include <cstdint>

namespace lumora::sample {

class SampleStream {
public:
    SampleStream(std::uint32_t seed, int x, int y, int pass);

    std::uint32_t nextUint();
    // Uniform in [0, 1).
    float next();

private:
    std::uint64_t state_;
    std::uint64_t increment_;
};

}  // namespace lumora::sample
