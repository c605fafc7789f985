#include "sample_render/sampler.hpp"

namespace lumora::sample {

namespace {

std::uint64_t splitMix64(std::uint64_t z) {
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

}  // namespace

SampleStream::SampleStream(std::uint32_t seed, int x, int y, int pass) {
    // Chained mixing keeps neighbouring keys (x and x + 1, pass and pass + 1) uncorrelated.
    std::uint64_t key = splitMix64(seed);
    key = splitMix64(key ^ static_cast<std::uint32_t>(x));
    key = splitMix64(key ^ (static_cast<std::uint64_t>(static_cast<std::uint32_t>(y)) << 32));
    key = splitMix64(key ^ static_cast<std::uint32_t>(pass));
    increment_ = (splitMix64(key) << 1u) | 1u;
    state_ = 0;
    nextUint();
    state_ += key;
    nextUint();
}

std::uint32_t SampleStream::nextUint() {
    const std::uint64_t old = state_;
    state_ = old * 6364136223846793005ull + increment_;
    const auto xorShifted = static_cast<std::uint32_t>(((old >> 18u) ^ old) >> 27u);
    const auto rotation = static_cast<std::uint32_t>(old >> 59u);
    return (xorShifted >> rotation) | (xorShifted << ((32u - rotation) & 31u));
}

float SampleStream::next() {
    // 24 random bits fill a float's mantissa exactly, so the result never rounds up to 1.
    return static_cast<float>(nextUint() >> 8) * 0x1p-24f;
}

}  // namespace lumora::sample
