// Arithmetic over the lanes of the compiled plan's kernels
// (EvaluationPlanLanes.h): vector values of several lanes, loads and stores
// from the plan's arrays, and ln x a vector at a time.
#ifndef MODELS_LANEMATH_H
#define MODELS_LANEMATH_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

// The lanes of a block go several at a time as one vector value (GCC's
// vector extension), so that the compiler need not discover the
// parallelism itself -- it often does not after unrolling the lane loops.
// The width is the instruction set's register: 2 lanes on the baseline
// build (SSE2), 4 where the including file asks for them (AVX2); the
// types have internal linkage, so each file has its own.  A point is one
// lane, a plain double.  Element-wise vector arithmetic rounds exactly as
// the scalar operations do, so every width gives the same bits.  Values
// live in arrays of Chunks<L>::N vectors; the plan's arrays are read and
// written through Load and Store.
#ifndef THERM_LANE_WIDTH
#define THERM_LANE_WIDTH 2
#endif
namespace {
constexpr int kLaneWidth = THERM_LANE_WIDTH;
typedef double LaneVector __attribute__((vector_size(kLaneWidth * sizeof(double))));
template <int L>
struct Chunks
{
    static_assert(L % kLaneWidth == 0, "a block is whole vectors");
    static constexpr int W = kLaneWidth, N = L / kLaneWidth;
    using V = LaneVector;
    typedef unsigned long long Bits __attribute__((vector_size(kLaneWidth * sizeof(long long))));
};
template <>
struct Chunks<1>
{
    static constexpr int W = 1, N = 1;
    using V = double;
    using Bits = unsigned long long;
};
template <int L>
inline __attribute__((always_inline)) typename Chunks<L>::V Load(const double* p)
{
    typename Chunks<L>::V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <int L>
inline __attribute__((always_inline)) void Store(double* p, typename Chunks<L>::V v)
{
    std::memcpy(p, &v, sizeof v);
}
template <int L>
inline __attribute__((always_inline)) void AddTo(double* p, typename Chunks<L>::V v)
{
    Store<L>(p, Load<L>(p) + v);
}
// |x| lane by lane: the sign bit cleared, as fabs does
template <int L>
inline __attribute__((always_inline)) typename Chunks<L>::V Abs(typename Chunks<L>::V x)
{
    if constexpr (L == 1) {
        return std::fabs(x);
    } else {
        typename Chunks<L>::Bits b;
        std::memcpy(&b, &x, sizeof x);
        b &= 0x7fffffffffffffffULL;
        typename Chunks<L>::V r;
        std::memcpy(&r, &b, sizeof r);
        return r;
    }
}
template <int L>
inline __attribute__((always_inline)) typename Chunks<L>::V Splat(double x)
{
    return typename Chunks<L>::V{} + x;
}
}  // namespace
namespace {
// ln x over the lanes, the same bits for a lane of a block and for a point.
// The method and the coefficients are fdlibm's (e_log.c), whose notice
// reads: "Copyright (C) 1993 by Sun Microsystems, Inc. All rights reserved.
// Developed at SunSoft, a Sun Microsystems, Inc. business. Permission to use,
// copy, modify, and distribute this software is freely granted, provided
// that this notice is preserved."
// x = 2^k (1 + f) with sqrt(2)/2 <= 1 + f < sqrt(2),
// s = f / (2 + f), and
//   ln x = k ln2_hi - ((f^2/2 - (s (f^2/2 + R(s^2)) + k ln2_lo)) - f),
// R a polynomial fitted to (ln(1+f) - f + f^2/2 - s f^2/2)/s; less than one
// unit in the last place off, so within a unit or so of the library's log.
// Lanes that are no positive normal number get -inf for 0, NaN below it,
// and the library's log otherwise (subnormal, infinite, NaN).
template <int L>
inline __attribute__((always_inline)) typename Chunks<L>::V LaneLog(typename Chunks<L>::V x)
{
    using V = typename Chunks<L>::V;
    using Bits = typename Chunks<L>::Bits;
    constexpr double ln2Hi = 6.93147180369123816490e-01, ln2Lo = 1.90821492927058770002e-10;
    constexpr double lg1 = 6.666666666666735130e-01, lg2 = 3.999999999940941908e-01, lg3 = 2.857142874366239149e-01,
                     lg4 = 2.222219843214978396e-01, lg5 = 1.818357216161805012e-01, lg6 = 1.531383769920937332e-01,
                     lg7 = 1.479819860511658591e-01;
    constexpr double sqrt2 = 1.41421356237309504880;
    constexpr double magic = 6755399441055744.0;  // 1.5 * 2^52: its bits plus k are the double 1.5 * 2^52 + k
    Bits u;
    std::memcpy(&u, &x, sizeof u);
    // the exponent k and the significand m in [1, 2) (unsigned shifts: SSE2
    // and AVX2 have no arithmetic shift of 64-bit lanes)
    Bits mBits = (u & 0x000fffffffffffffULL) | 0x3ff0000000000000ULL;
    V m;
    std::memcpy(&m, &mBits, sizeof m);
    Bits kBits = (u >> 52) + (0x4338000000000000ULL - 1023);
    V k;
    std::memcpy(&k, &kBits, sizeof k);
    k -= magic;
    const auto high = m > sqrt2;
    m = high ? m * 0.5 : m;
    k = high ? k + 1.0 : k;
    const V f = m - 1.0;
    const V hfsq = 0.5 * f * f;
    const V s = f / (2.0 + f);
    const V z = s * s, w = z * z, w2 = w * w;
    // the two polynomials in w by pairs of terms (Estrin), a shorter chain than Horner's
    const V t1 = w * ((lg2 + w * lg4) + w2 * lg6);
    const V t2 = z * ((lg1 + w * lg3) + w2 * (lg5 + w * lg7));
    const V R = t2 + t1;
    V r = k * ln2Hi - ((hfsq - (s * (hfsq + R) + k * ln2Lo)) - f);
    // anything but a positive normal number
    const auto usual = (x >= std::numeric_limits<double>::min()) & (x <= std::numeric_limits<double>::max());
    // (0 and negative numbers answered here: a zero site fraction is common
    // and must not cost a call)
    auto other = [](double v) {
        return v == 0.0 ? -std::numeric_limits<double>::infinity()
                        : v < 0.0 ? std::numeric_limits<double>::quiet_NaN() : std::log(v);
    };
    if constexpr (L == 1) {
        if (!usual) r = other(x);
    } else {
        for (int j = 0; j < Chunks<L>::W; ++j)
            if (!usual[j]) r[j] = other(x[j]);
    }
    return r;
}
}  // namespace

#endif
