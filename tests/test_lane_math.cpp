// ln x of the plan's lane arithmetic: within one unit in the last place of
// the library's log over the doubles' whole exponent range, the library's
// own answers where it defers to it, and the same bits for a lane of a vector
// as for a single point (the batch-against-point agreement rests on that).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "models/LaneMath.h"

namespace {

constexpr int kBlock = 8;

double Ulps(double x, double ref)
{
    const double ulp = std::nextafter(std::fabs(ref), std::numeric_limits<double>::infinity()) - std::fabs(ref);
    return std::fabs(x - ref) / ulp;
}

// LaneLog over a block of lanes, vector by vector.
void BlockLog(const double* x, double* out)
{
    for (int j = 0; j < kBlock; j += Chunks<kBlock>::W) Store<kBlock>(out + j, LaneLog<kBlock>(Load<kBlock>(x + j)));
}

TEST(LaneLog, WithinOneUlpOfTheLibraryAndTheSameOnEveryLane)
{
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<double> exponent(-307.0, 307.0), mantissa(1.0, 10.0);
    double worst = 0.0;
    for (int block = 0; block < 20000; ++block) {
        double x[kBlock], lanes[kBlock];
        for (double& v : x) v = mantissa(rng) * std::pow(10.0, std::floor(exponent(rng)));
        if (block == 0) {  // both sides of sqrt(2), where the reduction switches, next to 1, the least normal
            x[0] = std::sqrt(2.0);
            x[1] = std::nextafter(std::sqrt(2.0), 0.0);
            x[2] = std::nextafter(1.0, 0.0);
            x[3] = std::nextafter(1.0, 2.0);
            x[4] = std::ldexp(1.0, -1022);
        }
        if (block == 1)  // fractions near 1, whose logarithm is small
            for (int j = 0; j < kBlock; ++j) x[j] = 1.0 - std::ldexp(mantissa(rng), -4 - 5 * j);
        BlockLog(x, lanes);
        for (int j = 0; j < kBlock; ++j) {
            const double point = LaneLog<1>(x[j]);
            ASSERT_EQ(std::memcmp(&point, &lanes[j], sizeof point), 0) << "x = " << x[j];
            worst = std::max(worst, Ulps(point, std::log(x[j])));
        }
    }
    EXPECT_LE(worst, 1.0);
}

TEST(LaneLog, ExactAndSpecialValues)
{
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    struct Case
    {
        double x, expected;
    } cases[] = {
        {1.0, 0.0},
        {0.0, -inf},
        {-0.0, -inf},
        {inf, inf},
        {1e-310, std::log(1e-310)},  // subnormal: the library's value
        {std::numeric_limits<double>::denorm_min(), std::log(std::numeric_limits<double>::denorm_min())},
    };
    double x[kBlock] = {}, lanes[kBlock];
    int j = 0;
    for (const Case& c : cases) {
        EXPECT_EQ(LaneLog<1>(c.x), c.expected) << "x = " << c.x;
        x[j++] = c.x;
    }
    x[j++] = -2.0;
    x[j++] = nan;
    BlockLog(x, lanes);
    for (int k = 0; k < j; ++k) {
        const double point = LaneLog<1>(x[k]);
        EXPECT_TRUE(point == lanes[k] || (std::isnan(point) && std::isnan(lanes[k]))) << "x = " << x[k];
    }
    EXPECT_TRUE(std::isnan(LaneLog<1>(-2.0)));
    EXPECT_TRUE(std::isnan(LaneLog<1>(nan)));
    // powers of two: k ln 2 from the split constant, within a unit of the library
    for (int k : {-1000, -30, -1, 1, 52, 1000}) {
        const double x2 = std::ldexp(1.0, k);
        EXPECT_LE(Ulps(LaneLog<1>(x2), std::log(x2)), 1.0) << "2^" << k;
    }
}

}  // namespace
