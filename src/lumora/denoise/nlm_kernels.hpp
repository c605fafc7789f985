// The per-pixel loops of the window filters, written once for a vector type V that holds one pixel
// (Float4) or two adjacent pixels (Float8), so that the same source gives the plain kernels and
// the AVX2 ones; each half of a Float8 computes exactly what a Float4 computes, so both give the
// same bits.
//
// No include guard, and no includes: nlm_kernels.cpp includes this file once per instruction set,
// each time inside a namespace of its own (and for AVX2 inside a target region), after the headers
// it needs.

// What the kernels need of V.
template <class V>
struct Lanes;

template <>
struct Lanes<Float4> {
    static constexpr int pixels = 1;
    static Float4 load(const Float4* p) { return *p; }
    static void store(Float4 v, Float4* p) { *p = v; }
    static Float4 splat(const float* s) { return Float4(*s); }
    static void storeFirst(Float4 v, float* s) { *s = v.x(); }
    static Float4 luminance(Float4 v) { return Float4(v.luminance()); }
    static Float4 hmax(Float4 v) { return Float4(v.hmax()); }
    static Float4 lane3(Float4 v) { return Float4(0.f, 0.f, 0.f, v.w()); }
    static Float4 negate(Float4 v) { return Float4(-v.x(), -v.y(), -v.z(), -v.w()); }
    static bool all(Float4 mask) { return mask.all(); }
    template <int I>
    static Float4 broadcast(Float4 v) {
        return nlm::broadcast<I>(v);
    }
};

#ifdef LUMORA_NLM_FLOAT8
template <>
struct Lanes<Float8> {
    static constexpr int pixels = 2;
    static Float8 load(const Float4* p) { return Float8::load(p); }
    static void store(Float8 v, Float4* p) { v.store(p); }
    static Float8 splat(const float* s) { return Float8::splat(s); }
    static void storeFirst(Float8 v, float* s) { v.storeFirstLanes(s); }
    static Float8 luminance(Float8 v) { return v.luminance(); }
    static Float8 hmax(Float8 v) { return v.hmax(); }
    static Float8 lane3(Float8 v) { return v.lane3(); }
    static Float8 negate(Float8 v) { return -v; }
    static bool all(Float8 mask) { return lumora::all(mask); }
    template <int I>
    static Float8 broadcast(Float8 v) {
        return v.template broadcast<I>();
    }
};
#endif

// Calls body.template operator()<V>(x) for x from x0 to x1 - 1, two pixels at a time where V can
// hold two.
template <class Body>
inline void forEachGroup(int x0, int x1, Body&& body) {
    int x = x0;
#ifdef LUMORA_NLM_FLOAT8
    for (; x + 2 <= x1; x += 2) body.template operator()<Float8>(x);
#endif
    for (; x < x1; ++x) body.template operator()<Float4>(x);
}

// The patch distances D of a tile for every window offset (see tileDistances).
template <int Window, int Patch>
inline const float* tileDistances(const PatchSource& src, const Tile& tile, WindowScratch& scratch) {
    constexpr int wr = Window / 2;
    constexpr int pr = Patch / 2;
    const int tw = tile.width();
    const int th = tile.height();
    const int gw = tw + 2 * pr;  // grown tile
    const int gh = th + 2 * pr;
    const std::size_t area = std::size_t(tile.area());
    scratch.positions.resize(std::size_t(gw) * std::size_t(gh));
    scratch.rowSums.resize(std::size_t(tw) * std::size_t(gh));
    scratch.distances.resize(area * Window * Window);
    const std::ptrdiff_t stride = src.width;
    const Float4 zero(0.f);

    for (int dy = -wr; dy <= wr; ++dy) {
        for (int dx = -wr; dx <= wr; ++dx) {
            const std::ptrdiff_t shift = dy * stride + dx;
            // d(o) for positions (x, y) of the grown tile, paired with (x + dx, y + dy).
            for (int j = 0; j < gh; ++j) {
                const int y = tile.y0 - pr + j;
                Float4* out = scratch.positions.data() + std::ptrdiff_t(j) * gw;
                const int xs = tile.x0 - pr;
                if (y < 0 || y >= src.height || y + dy < 0 || y + dy >= src.height) {
                    std::fill(out, out + gw, zero);
                    continue;
                }
                const int lo = std::clamp(std::max(0, -dx), xs, xs + gw);
                const int hi = std::clamp(std::min(src.width, src.width - dx), lo, xs + gw);
                std::fill(out, out + (lo - xs), zero);
                const std::ptrdiff_t rowStart = std::ptrdiff_t(y) * stride;
                forEachGroup(lo, hi, [&]<class V>(int x) {
                    using L = Lanes<V>;
                    const std::ptrdiff_t p = rowStart + x;
                    const V ip = L::load(src.colour + p);
                    const V iq = L::load(src.colour + p + shift);
                    const V vp = L::load(src.variance + p);
                    const V vq = L::load(src.variance + p + shift);
                    // positionDistance, operation for operation.
                    const V diff = ip - iq;
                    const V num = diff * diff - V(src.terms.k) * (vp + min(vp, vq));
                    const V den = V(src.terms.epsilon) + vp + min(vq, V(1000.f) * vp);
                    L::store(max(num / den, V(0.f)), out + (x - xs));
                });
                std::fill(out + (hi - xs), out + gw, zero);
            }
            for (int j = 0; j < gh; ++j) {
                const Float4* in = scratch.positions.data() + std::ptrdiff_t(j) * gw;
                Float4* out = scratch.rowSums.data() + std::ptrdiff_t(j) * tw;
                forEachGroup(0, tw, [&]<class V>(int i) {
                    using L = Lanes<V>;
                    V sum = L::load(in + i);
                    for (int k = 1; k < Patch; ++k) sum += L::load(in + i + k);
                    L::store(sum, out + i);
                });
            }
            float* distance = scratch.distances.data() + offsetIndex<Window>(dx, dy) * area;
            for (int j = 0; j < th; ++j) {
                const int y = tile.y0 + j;
                if (y + dy < 0 || y + dy >= src.height) continue;
                const int lo = std::max(tile.x0, -dx) - tile.x0;
                const int hi = std::min(tile.x1, src.width - dx) - tile.x0;
                const Float4* column = scratch.rowSums.data() + std::ptrdiff_t(j) * tw;
                float* row = distance + std::ptrdiff_t(j) * tw;
                const auto columnSum = [&]<class V>(int i) {
                    V sum = Lanes<V>::load(column + i);
                    for (int k = 1; k < Patch; ++k) sum += Lanes<V>::load(column + std::ptrdiff_t(k) * tw + i);
                    return sum * V(patchFactor<Patch>());
                };
                int i = lo;
#ifdef LUMORA_NLM_FLOAT8
                // Eight pixels share one division for their luminances.
                for (; i + 8 <= hi; i += 8) {
                    const auto at = [&](int k) { return columnSum.template operator()<Float8>(i + k); };
                    luminances(at(0), at(2), at(4), at(6)).store(row + i);
                }
#endif
                forEachGroup(i, hi, [&]<class V>(int i) {
                    Lanes<V>::storeFirst(Lanes<V>::luminance(columnSum.template operator()<V>(i)), row + i);
                });
            }
        }
    }
    return scratch.distances.data();
}

// The polynomial of fastExp2 and exp2(Float4): 2^f for f in [-0.5, 0.5], exact at 0; of N
// arguments at once, the steps of the N evaluations alternating (see exp2Lanes).
template <class V, int N>
inline void exp2Polynomials(const V (&f)[N], V (&p)[N]) {
    for (int k = 0; k < N; ++k) p[k] = V(1.535336188319500e-4f) * f[k] + V(1.339887440266574e-3f);
    for (const float coefficient : {9.618437357674640e-3f, 5.550332471162809e-2f, 2.402264791363012e-1f,
                                    6.931472028550421e-1f, 1.f}) {
        for (int k = 0; k < N; ++k) p[k] = p[k] * f[k] + V(coefficient);
    }
}

// exp2(Float4) for V, the same operations in the same order (for Float8 lane by lane), of N
// arguments at once, in place: the steps of the N evaluations alternate, so that the processor has
// independent work while each waits on its long chain of dependent steps.
template <class V, int N>
inline void exp2Lanes(V (&x)[N]) {
    V c[N], n[N], p[N];
    for (int k = 0; k < N; ++k) c[k] = min(max(x[k], V(-150.f)), V(129.f));
    for (int k = 0; k < N; ++k) {
        const V a = c[k] + V(0.5f);
        const V t = a.truncated();
        n[k] = t - select(t > a, V(1.f), V(0.f));
    }
    for (int k = 0; k < N; ++k) c[k] = c[k] - n[k];
    exp2Polynomials(c, p);
    for (int k = 0; k < N; ++k) {
        // 2^n in two halves keeps both factors in the normal range.
        const V n1 = (n[k] * V(0.5f)).truncated();
        x[k] = select(x[k] == x[k], p[k] * V::pow2(n1) * V::pow2(n[k] - n1), x[k]);  // NaN stays NaN
    }
}

// fastExp2 lane by lane, of N arguments at once in place (see exp2Lanes): its polynomial and power
// of two where every lane of an argument lies in [-126, 127], the scalar function itself otherwise.
template <class V, int N>
inline void fastExp2Lanes(V (&x)[N]) {
    bool inRange[N];
    V n[N], f[N], p[N];
    for (int k = 0; k < N; ++k) {
        inRange[k] = Lanes<V>::all((x[k] >= V(-126.f)) & (x[k] <= V(127.f)));
        f[k] = inRange[k] ? x[k] : V(0.f);  // the others go through the scalar function below
        n[k] = (f[k] + V(127.5f)).truncated() - V(127.f);  // nearest integer, as fastExp2 takes it
    }
    for (int k = 0; k < N; ++k) f[k] = f[k] - n[k];
    exp2Polynomials(f, p);
    for (int k = 0; k < N; ++k) {
        if (inRange[k]) {
            x[k] = p[k] * V::pow2(n[k]);
            continue;
        }
        alignas(32) float lanes[sizeof(V) / sizeof(float)];
        x[k].store(lanes);
        for (float& lane : lanes) lane = fastExp2(lane);
        x[k] = V::load(lanes);
    }
}

// The weighted means of the pixels (x, y) .. (x + n - 1, y), n = 4 or 8 as V holds one weight per
// pixel (Float4, Float8); see meansGroup. Without feature exponents the weights are the four-lane
// exponential of the colour distances; with them, as for a single pixel, the smaller of fastExp2's
// colour and feature weights.
template <int Window, class V>
inline void meansOf(const MeansTile& t, int x, int y) {
    constexpr int n = sizeof(V) / sizeof(float);
    constexpr int wr = Window / 2;
    const std::ptrdiff_t row = std::ptrdiff_t(y) * t.width;
    const std::size_t local = std::size_t((y - t.tile.y0) * t.tile.width() + (x - t.tile.x0));
    const V minusH(-t.h);
    const V log2e(kLog2e);
    V weight(0.f);
    // Pixel values times weights, a pixel (Float4) or two (Float8) at a time.
    using L = Lanes<V>;
    constexpr int groups = n / L::pixels;
    V sum[groups];
    for (V& s : sum) s = V(0.f);
    // The weights of Pairs offsets from (dx, dy) on along the row, their exponentials side by side.
    const auto weightsAt = [&]<int Pairs>(int dx, int dy, V (&w)[Pairs]) {
        std::size_t o[Pairs];
        for (int k = 0; k < Pairs; ++k) o[k] = offsetIndex<Window>(dx + k, dy) * t.area + local;
        if (!t.exponents) {
            for (int k = 0; k < Pairs; ++k) w[k] = minusH * V::load(t.distances + o[k]) * log2e;
            exp2Lanes(w);
            return;
        }
        // The colour weight, then the feature weight, of each offset.
        V e[2 * Pairs];
        for (int k = 0; k < Pairs; ++k) {
            e[2 * k] = minusH * V::load(t.distances + o[k]) * log2e;
            e[2 * k + 1] = L::negate(V::load(t.exponents + o[k])) * log2e;
        }
        fastExp2Lanes(e);
        for (int k = 0; k < Pairs; ++k) w[k] = select(e[2 * k + 1] < e[2 * k], e[2 * k + 1], e[2 * k]);  // std::min
    };
    const auto add = [&](int dx, int dy, V w) {
        weight += w;
        const Float4* v = t.values + row + std::ptrdiff_t(dy) * t.width + dx + x;
        if constexpr (n == 4) {
            sum[0] += v[0] * nlm::broadcast<0>(w);
            sum[1] += v[1] * nlm::broadcast<1>(w);
            sum[2] += v[2] * nlm::broadcast<2>(w);
            sum[3] += v[3] * nlm::broadcast<3>(w);
        } else {
            for (int g = 0; g < groups; ++g) sum[g] += L::load(v + 2 * g) * w.pairOf(g);
        }
    };
    for (int dy = std::max(-wr, -y); dy <= std::min(wr, t.height - 1 - y); ++dy) {
        int dx = -wr;
        for (; dx + 2 <= wr + 1; dx += 2) {
            V w[2];
            weightsAt.template operator()<2>(dx, dy, w);
            add(dx, dy, w[0]);
            add(dx + 1, dy, w[1]);
        }
        V w[1];
        weightsAt.template operator()<1>(dx, dy, w);  // the window is odd: one offset is left
        add(dx, dy, w[0]);
    }
    alignas(32) float weights[n];
    weight.store(weights);
    alignas(32) Float4 sums[n];
    for (int g = 0; g < groups; ++g) L::store(sum[g], sums + g * L::pixels);
    for (int k = 0; k < n; ++k) {
        const std::ptrdiff_t p = row + x + k;
        const bool skipped = t.candidatesOnly && !isNlmCandidate(t.colour[p], t.variance[p]);
        t.out[p] = skipped ? t.values[p] : sums[k] / Float4(weights[k]);
    }
}

// The weighted means of as many pixels from (x, y) on as one group takes (8 or 4;
// the pixels' windows must lie inside the image up to pixel x + 7, or x + 3); returns how many.
template <int Window>
inline int meansGroup(const MeansTile& t, int x, int y) {
#ifdef LUMORA_NLM_FLOAT8
    if (x + 8 <= t.tile.x1 && x + 7 + Window / 2 < t.width) {
        meansOf<Window, Float8>(t, x, y);
        return 8;
    }
#endif
    meansOf<Window, Float4>(t, x, y);
    return 4;
}

// The lane maxima m[k] of the feature exponent M (M is the largest lane of m[k]) of Pairs vectors
// of pixels from p on (pixel p + k, or p + 2k and p + 2k + 1 for Float8), each pixel paired with
// the pixel `shift` further on, floors scaled by floorScale. Where M is known to be at least 0
// (atLeastZero), returns false, leaving m alone, where every quotient of every pair is at most 0,
// the features agreeing within their noise: M is then exactly 0.
template <class V, int Pairs>
inline bool featureMaxima(std::span<const NlmFeature> features, float floorScale, bool atLeastZero,
                          std::ptrdiff_t p, std::ptrdiff_t shift, V* m) {
    using L = Lanes<V>;
    // c * num of each feature that is active and not all zero, before any division.
    V product[kMaxNlmFeatures][Pairs];
    // NaN, or a normaliser that may be 0 or NaN, leaves the quotients to the divisions.
    V atMostZero = V(atLeastZero && floorScale > 0.f ? 0.f : 1.f) <= V(0.f);
    std::size_t n = 0;
    for (const NlmFeature& f : features) {
        if (!f.active() || f.zero) continue;
        const V cancellation(f.cancellation);
        const V weight(f.weight);
        if (!f.positiveNormaliser) atMostZero = V(1.f) <= V(0.f);
        for (int k = 0; k < Pairs; ++k) {
            const std::ptrdiff_t pk = p + k * L::pixels;
            const V diff = L::load(f.mean + pk) - L::load(f.mean + pk + shift);
            const V fvp = L::load(f.variance + pk);
            const V num = diff * diff - (fvp + min(fvp, L::load(f.variance + pk + shift))) * cancellation;
            product[n][k] = weight * num;
            atMostZero = atMostZero & (product[n][k] <= V(0.f));
        }
        ++n;
    }
    if (L::all(atMostZero)) return false;
    for (int k = 0; k < Pairs; ++k) m[k] = V(-1.f);
    n = 0;
    for (const NlmFeature& f : features) {
        if (!f.active()) continue;
        if (f.zero) {
            for (int k = 0; k < Pairs; ++k) m[k] = max(m[k], V(0.f));
            continue;
        }
        const V floor(f.floor * floorScale);
        for (int k = 0; k < Pairs; ++k) {
            const V den = max(floor, L::load(f.gradient + p + k * L::pixels));
            m[k] = max(m[k], product[n][k] / den);
        }
        ++n;
    }
    return true;
}

// M where it is above 0 (or NaN), else +0.
template <class V>
inline V positivePart(V m) {
    return select(m <= V(0.f), V(0.f), m);
}

// Whether M is at least 0 for every pair: some active feature gives a quotient of exactly 0 in
// some lane (see NlmFeature::zero and NlmFeature::zeroLane).
inline bool exponentAtLeastZero(std::span<const NlmFeature> features, float floorScale) {
    return std::any_of(features.begin(), features.end(), [&](const NlmFeature& f) {
        return f.active() && (f.zero || (f.zeroLane && floorScale > 0.f));
    });
}

// The feature exponents of the pixels row + x0 .. row + x1 - 1 to out[x0] .. out[x1 - 1]. Where M
// is known to be at least 0 it is stored as its positive part (+0 for -0), and groups of pixels
// whose quotients are all at most 0 skip their divisions; otherwise M as it is: the colour weights
// are at most 1, but the tri-filter's perturbed ones may be above it, so a negative M still counts.
inline void featureExponentRow(std::span<const NlmFeature> features, float floorScale, std::ptrdiff_t row,
                               std::ptrdiff_t shift, int x0, int x1, float* out) {
    const bool atLeastZero = exponentAtLeastZero(features, floorScale);
    int x = x0;
#ifdef LUMORA_NLM_FLOAT8
    // Eight pixels at a time, taking their largest lanes together.
    for (; x + 8 <= x1; x += 8) {
        Float8 m[4];
        if (!featureMaxima<Float8, 4>(features, floorScale, atLeastZero, row + x, shift, m)) {
            Float8(0.f).store(out + x);
            continue;
        }
        const Float8 largest = largestLanes(m[0], m[1], m[2], m[3]);
        (atLeastZero ? positivePart(largest) : largest).store(out + x);
    }
#endif
    forEachGroup(x, x1, [&]<class V>(int x) {
        V m[1];
        const bool above = featureMaxima<V, 1>(features, floorScale, atLeastZero, row + x, shift, m);
        const V largest = Lanes<V>::hmax(m[0]);
        Lanes<V>::storeFirst(above ? (atLeastZero ? positivePart(largest) : largest) : V(0.f), out + x);
    });
}

// The three-candidate filter of the pixels (x, y) .. (x + pixels - 1, y), all candidates with the
// same window offsets.
template <int Window, int Patch, class V>
inline void triPixels(const TriTile& t, int x, int y, const OffsetRange& range) {
    using L = Lanes<V>;
    constexpr int n2 = Window * Window;
    const std::ptrdiff_t width = t.width;
    const std::ptrdiff_t p = std::ptrdiff_t(y) * width + x;
    const V up = L::load(t.colour + p);
    const V vp = L::load(t.variance + p);
    // What every neighbour shares: parts of the centre position's normaliser and of the change of
    // its distance.
    const V up002 = V(0.02f) * up;
    const V epsilonVp = V(t.epsilon) + vp;
    const V cap = V(1000.f) * vp;
    const V strengths(t.strengths);
    const V minusH(-t.h);
    const V log2e(kLog2e);
    const V patchArea(float(Patch * Patch));
    const std::size_t area = t.area;
    const int local = (y - t.tile.y0) * t.tile.width() + (x - t.tile.x0);
    const auto at = [&](const float* image, int dx, int dy) {
        return L::splat(image + offsetIndex<Window>(dx, dy) * area + std::size_t(local));
    };
    // Three passes over the neighbours, in window order: the exponents of the weights, the
    // weights, the sums. Each loop is short and its iterations independent, so they overlap where
    // one loop doing everything would wait on its own long chain of dependent steps.
    //
    // The exponents of the colour weights, the feature weight exp(-M) riding in their unused
    // fourth lane (M = -1 without active features, which never lowers a colour weight), and of the
    // perturbed colour weights, from D + the first-order change of the centre position's distance
    // when u_p grows by 1 %. Then the weights in place.
    std::array<V, n2> weight;
    std::array<V, n2> perturbedWeight;
    int n = 0;
    for (int dy = range.dy0; dy <= range.dy1; ++dy) {
        for (int dx = range.dx0; dx <= range.dx1; ++dx, ++n) {
            const std::ptrdiff_t q = p + dy * width + dx;
            const V den = epsilonVp + min(L::load(t.variance + q), cap);
            const V d = at(t.distances, dx, dy);
            const V perturbed = d + L::luminance(up002 * (up - L::load(t.colour + q)) / den) / patchArea;
            weight[std::size_t(n)] = minusH * (d * strengths) * log2e + L::lane3(L::negate(at(t.exponents, dx, dy))) * log2e;
            perturbedWeight[std::size_t(n)] = minusH * (perturbed * strengths) * log2e;
        }
    }
    const auto weights = [&]<int N>(std::size_t i) {
        V e[2 * N];
        for (std::size_t k = 0; k < N; ++k) {
            e[2 * k] = weight[i + k];
            e[2 * k + 1] = perturbedWeight[i + k];
        }
        exp2Lanes(e);
        for (std::size_t k = 0; k < N; ++k) {
            const V wf = L::template broadcast<3>(e[2 * k]);
            weight[i + k] = min(e[2 * k], wf);
            perturbedWeight[i + k] = min(e[2 * k + 1], wf);
        }
    };
    std::size_t i = 0;
    for (; i + 2 <= std::size_t(n); i += 2) weights.template operator()<2>(i);
    if (i < std::size_t(n)) weights.template operator()<1>(i);
    // Per candidate the weighted values (plain and perturbed), and the weight sums of the three
    // candidates in lanes 0 to 2.
    V value[3] = {V(0.f), V(0.f), V(0.f)};
    V perturbedValue[3] = {V(0.f), V(0.f), V(0.f)};
    V weightSum(0.f);
    V perturbedWeightSum(0.f);
    const V perturbation(1.01f);
    n = 0;
    for (int dy = range.dy0; dy <= range.dy1; ++dy) {
        for (int dx = range.dx0; dx <= range.dx1; ++dx) {
            const V uq = L::load(t.colour + p + dy * width + dx);
            const V w = weight[std::size_t(n)];
            const V wp = perturbedWeight[std::size_t(n++)];
            weightSum += w;
            perturbedWeightSum += wp;
            value[0] += L::template broadcast<0>(w) * uq;
            value[1] += L::template broadcast<1>(w) * uq;
            value[2] += L::template broadcast<2>(w) * uq;
            const V wp101 = wp * perturbation;
            perturbedValue[0] += L::template broadcast<0>(wp101) * uq;
            perturbedValue[1] += L::template broadcast<1>(wp101) * uq;
            perturbedValue[2] += L::template broadcast<2>(wp101) * uq;
        }
    }
    const V scale = V(0.01f) * L::luminance(up) + V(0.000001f);
    const V w[3] = {L::template broadcast<0>(weightSum), L::template broadcast<1>(weightSum),
                    L::template broadcast<2>(weightSum)};
    const V wp[3] = {L::template broadcast<0>(perturbedWeightSum), L::template broadcast<1>(perturbedWeightSum),
                     L::template broadcast<2>(perturbedWeightSum)};
    for (std::size_t i = 0; i < 3; ++i) {
        const V f = value[i] / w[i];
        const V fp = perturbedValue[i] / wp[i];
        L::store(f, t.value[i] + p);
        L::store((fp - f) / scale, t.divergence[i] + p);
    }
    L::storeFirst(L::luminance(w[1]), t.weightSum + p);
}

// The three-candidate filter of the tile's part of row y.
template <int Window, int Patch>
inline void triRow(const TriTile& t, int y) {
    constexpr int wr = Window / 2;
    const std::ptrdiff_t row = std::ptrdiff_t(y) * t.width;
    const auto candidate = [&](int x) { return isNlmCandidate(t.colour[row + x], t.variance[row + x]); };
    for (int x = t.tile.x0; x < t.tile.x1;) {
        const std::ptrdiff_t p = row + x;
        if (!candidate(x)) {
            t.weightSum[p] = 1000.f;
            for (std::size_t i = 0; i < 3; ++i) t.value[i][p] = t.divergence[i][p] = t.colour[p];
            ++x;
            continue;
        }
        const auto range = OffsetRange::of(wr, x, y, t.width, t.height);
#ifdef LUMORA_NLM_FLOAT8
        // Two pixels at once where the second is a candidate with the same window offsets.
        if (x + 1 < t.tile.x1 && x >= wr && x + 1 + wr < t.width && candidate(x + 1)) {
            triPixels<Window, Patch, Float8>(t, x, y, range);
            x += 2;
            continue;
        }
#endif
        triPixels<Window, Patch, Float4>(t, x, y, range);
        ++x;
    }
}
