#include "module/numeric/real_functions.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace tintwell {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// How many doubles two positive or two negative doubles are apart.
std::int64_t distance(double a, double b) {
    return std::abs(std::bit_cast<std::int64_t>(a) - std::bit_cast<std::int64_t>(b));
}

TEST(RealFunctions, AreTheMathematicalOnesToTheLastBit) {
    std::minstd_rand random(1);
    const auto uniform = [&] { return static_cast<double>(random()) / std::minstd_rand::max(); };
    for (int i = 0; i < 100'000; ++i) {
        const double wide = std::ldexp(uniform(), static_cast<int>(random() % 200) - 100);
        const double nearOne = 1.0 + (uniform() - 0.5) / 16.0;
        const double exponent = (uniform() - 0.5) * 1400.0;
        const double power = uniform() * 5.0;
        ASSERT_LE(distance(real::log(wide), std::log(wide)), 1) << wide;
        ASSERT_LE(distance(real::log(nearOne), std::log(nearOne)), 1) << nearOne;
        ASSERT_LE(distance(real::exp(exponent), std::exp(exponent)), 1) << exponent;
        ASSERT_LE(distance(real::pow(wide, power), std::pow(wide, power)), 1)
            << wide << " to the " << power;
    }
    for (int i = 0; i <= 4096; ++i) {
        const double x = i / 4096.0;
        ASSERT_EQ(real::pow(x, 2.0), x * x);
        ASSERT_EQ(real::pow(x * x, 0.5), x);
    }
}

TEST(RealFunctions, HoldAtTheEndsOfTheirRanges) {
    EXPECT_EQ(real::log(0.0), -kInfinity);
    EXPECT_EQ(real::log(1.0), 0.0);
    EXPECT_EQ(real::log(kInfinity), kInfinity);
    EXPECT_TRUE(std::isnan(real::log(-1.0)));
    EXPECT_EQ(real::exp(-kInfinity), 0.0);
    EXPECT_EQ(real::exp(0.0), 1.0);
    EXPECT_EQ(real::exp(kInfinity), kInfinity);
    EXPECT_TRUE(std::isnan(real::exp(std::nan(""))));
    EXPECT_EQ(real::exp(-744.5), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(real::pow(1.0, 1e300), 1.0);
    EXPECT_EQ(real::pow(0.5, 1e300), 0.0);
    EXPECT_EQ(real::pow(std::numeric_limits<double>::denorm_min(), 0.5), std::ldexp(1.0, -537));
}

// Other bits here are other bytes in some frame.
TEST(RealFunctions, RoundAsOnEveryOtherPlatform) {
    std::uint64_t digest = 0;
    std::uint64_t bits = 0;
    for (int i = 1; i <= 4096; ++i) {
        for (const double exponent : {100.0 / 137.0, 100.0 / 71.0, 0.5, 2.0}) {
            const double value = real::pow(i / 4096.0, exponent);
            digest = digest * 31 + static_cast<std::uint64_t>(std::floor(value * 32768.0 + 0.5));
            bits = bits * 31 + std::bit_cast<std::uint64_t>(value);
        }
    }
    EXPECT_EQ(digest, 4732434049974744158U);
    EXPECT_EQ(bits, 4931370510330446107U);
    EXPECT_DOUBLE_EQ(real::exp(real::log(8.0) / 3.0), 2.0);
}

} // namespace
} // namespace tintwell
