// Drives every variant that this processor runs against the plain one. A kernel is called twice
// with the same rows, which must hold the same bytes afterwards: those that it writes, those that
// it only reads, and the guards around them. Half of the rows have no guards but end where their
// memory does, so that the address sanitizer sees what is read too far.

#include "module/kernels/variants.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <ostream>
#include <random>
#include <vector>

namespace tintwell::kernels {

std::ostream& operator<<(std::ostream& stream, const Variant& variant) {
    return stream << variant.name;
}

namespace {

std::minstd_rand randomNumbers;

std::uint32_t randomBelow(std::uint32_t bound) {
    return (static_cast<std::uint32_t>(randomNumbers()) >> 8U) % bound; // the low bits are poor
}

/// One of eight kinds of content, for each sample what it would be in every one of them.
template <class Sample>
void fill(std::byte* to, std::size_t count) {
    constexpr std::uint32_t kFull = Sample(-1);
    const std::uint32_t kind = randomBelow(8);
    std::uint32_t value = randomBelow(kFull + 1);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t any = randomBelow(kFull + 1);
        const std::uint32_t kinds[] = {any,
                                       0,
                                       kFull,
                                       i % 2 * kFull,
                                       value,                              // flat
                                       randomBelow(20) == 0 ? any : value, // flat parts
                                       value + kFull / 255,                // all different
                                       any % (kFull / 2 + 2)}; // what 16-bit samples should be
        value = kinds[kind];
        const auto sample = static_cast<Sample>(value);
        std::memcpy(to + i * sizeof(Sample), &sample, sizeof(sample));
    }
}

/// Memory of its own, which begins at any multiple of an alignment.
class Row {
public:
    /// Samples between guards, as elements of another type if need be.
    template <class Sample, class Element = Sample>
    static Row filled(std::size_t count) {
        Row row;
        const std::size_t guard = randomBelow(2) * 64;
        row.start_ = guard + randomBelow(64) / alignof(Element) * alignof(Element);
        row.bytes_.resize(row.start_ + count * sizeof(Sample) + guard, std::byte{0xA5});
        fill<Sample>(row.as<>(), count);
        return row;
    }

    template <class Element = std::byte>
    Element* as() {
        return reinterpret_cast<Element*>(bytes_.data() + start_);
    }

    bool operator==(const Row& other) const = default;

private:
    std::size_t start_ = 0;
    std::vector<std::byte> bytes_;
};

using Rows = std::vector<Row>;

template <class Sample, class Element = Sample>
Rows filledRows(std::size_t rows, std::size_t count) {
    Rows result;
    for (std::size_t i = 0; i < rows; ++i) {
        result.push_back(Row::filled<Sample, Element>(count));
    }
    return result;
}

template <class Sample>
const SampleKernels<Sample>& kernelsOf(const KernelSet& kernels) {
    if constexpr (sizeof(Sample) == 1) {
        return kernels.bytes;
    } else {
        return kernels.words;
    }
}

class VariantsTest : public testing::TestWithParam<Variant> {
protected:
    VariantsTest() { randomNumbers.seed(); }

    /// Runs the check of a kernel for all small widths and some large ones, many times each.
    template <class Check>
    static void forWidths(Check check) {
        for (std::size_t width = 0; width < 213 && !HasFatalFailure(); ++width) {
            const std::size_t count = width < 210 ? width : width * 11 - 391;
            for (int times = 0; times < 24 && !HasFatalFailure(); ++times) {
                check(count);
            }
        }
    }

    template <class Call>
    static void compare(const Rows& rows, std::size_t count, Call call) {
        Rows expected = rows;
        call(availableVariants().front().kernels, expected);
        Rows actual = rows;
        call(GetParam().kernels, actual);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            ASSERT_TRUE(actual[i] == expected[i]) << "row " << i << ", width " << count;
        }
    }

    template <class Sample>
    static void checkSplitAndMerge(std::size_t count) {
        Rows rows = filledRows<Sample>(4, count);
        rows.push_back(Row::filled<Sample, std::byte>(count * 4));
        const auto planes = [](Rows& r) {
            return std::array{r[0].as<Sample>(), r[1].as<Sample>(), r[2].as<Sample>(),
                              r[3].as<Sample>()};
        };
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernelsOf<Sample>(kernels).split(r[4].as<>(), count, planes(r).data());
        });
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernelsOf<Sample>(kernels).merge(planes(r).data(), count, r[4].as<>());
        });
    }

    template <class Sample>
    static void checkLevels(std::size_t count) {
        const Rows rows = {Row::filled<Sample>(count), Row::filled<std::uint8_t>(count)};
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernelsOf<Sample>(kernels).levels(r[0].as<>(), count, r[1].as<std::uint8_t>());
        });
    }

    template <class Sample>
    static void checkLookUp(std::size_t count) {
        const std::size_t results = randomBelow(2) * 2; // in place or a row of their own
        const Rows rows = {Row::filled<Sample>(count),
                           Row::filled<Sample>(sizeof(Sample) == 1 ? 256 : 4097),
                           Row::filled<Sample>(count)};
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernelsOf<Sample>(kernels).lookUp(r[0].as<Sample>(), count, r[1].as<Sample>(),
                                              r[results].as<Sample>());
        });
    }

    /// Gives the pixels of two rows the same alpha, but for one in `rarity`, which gets two
    /// different ones, or 0 in one or both.
    template <class Sample>
    static void relateAlphas(Rows& rows, std::size_t count, std::size_t alphaIndex,
                             std::uint32_t rarity) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t other = randomBelow(rarity) == 0 ? randomBelow(4) : 4;
            const auto same = static_cast<Sample>(1 + randomBelow(Sample(-1)));
            const Sample different[] = {same, 0, 0, static_cast<Sample>(randomBelow(same)), same};
            const Sample alphas[] = {other == 0 || other == 1 ? Sample{0} : same, different[other]};
            for (std::size_t row = 0; row < 2; ++row) {
                std::memcpy(rows[row].as<>() + (i * 4 + alphaIndex) * sizeof(Sample), &alphas[row],
                            sizeof(Sample));
            }
        }
    }

    template <class Sample>
    static void checkBlend(std::size_t count) {
        const std::uint32_t weights[] = {1, 32768, 65535, 1 + randomBelow(65535)};
        const std::uint32_t rarities[] = {1, 20, 1U << 20U};
        const std::uint32_t weight = weights[randomBelow(4)];
        const BlendWeights blend = {weight, 65536 - weight, randomBelow(2) * 3};
        const std::size_t destination = randomBelow(2) * 2; // in place or a row of its own
        Rows rows = filledRows<Sample, std::byte>(3, count * 4);
        relateAlphas<Sample>(rows, count, blend.alphaIndex, rarities[randomBelow(3)]);
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernelsOf<Sample>(kernels).blend(r[0].as<>(), r[1].as<>(), r[destination].as<>(), count,
                                             blend);
        });
    }

    /// Which of both tables a pixel went to is the variant's choice.
    static void addUp(ToneSums* sums) {
        for (std::size_t k = 0; k < kToneIndices; ++k) {
            ToneSums& other = sums[kToneIndices + k];
            for (std::size_t i = 0; i < 4; ++i) {
                sums[k].samples[i] += other.samples[i];
            }
            other = {};
        }
    }

    static std::uint8_t* levelsOf(Row& row) { return row.as<std::uint8_t>(); }

    static ColorRow colors(Rows& rows) {
        return {levelsOf(rows[0]), levelsOf(rows[1]), levelsOf(rows[2])};
    }
};

TEST_P(VariantsTest, SplitAndMerge) {
    forWidths(checkSplitAndMerge<std::uint8_t>);
    forWidths(checkSplitAndMerge<std::uint16_t>);
}

TEST_P(VariantsTest, Levels) {
    forWidths(checkLevels<std::uint8_t>);
    forWidths(checkLevels<std::uint16_t>);
}

TEST_P(VariantsTest, LookUp) {
    forWidths(checkLookUp<std::uint8_t>);
    forWidths(checkLookUp<std::uint16_t>);
}

TEST_P(VariantsTest, Blend) {
    forWidths(checkBlend<std::uint8_t>);
    forWidths(checkBlend<std::uint16_t>);
}

TEST_P(VariantsTest, TonesAndNeutralities) {
    forWidths([](std::size_t count) {
        const Rows rows = filledRows<std::uint8_t>(5, count);
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernels.levels.tones(colors(r), count, levelsOf(r[3]), levelsOf(r[4]));
        });
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernels.levels.neutralities(colors(r), count, levelsOf(r[3]));
        });
    });
}

TEST_P(VariantsTest, LeastOfSquares) {
    forWidths([](std::size_t count) {
        Rows rows = filledRows<std::uint8_t>(2, count + 1);
        rows.push_back(Row::filled<std::uint8_t>(count));
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernels.levels.leastOfSquares(levelsOf(r[0]), levelsOf(r[1]), count, levelsOf(r[2]));
        });
    });
}

TEST_P(VariantsTest, CountsAndSumsOfIndices) {
    forWidths([](std::size_t count) {
        Rows rows = filledRows<std::uint8_t>(1, count);
        rows.push_back(Row::filled<std::uint8_t>(4 * count));
        rows.push_back(Row::filled<std::uint8_t, ToneSums>(2 * kToneIndices * sizeof(ToneSums)));
        rows.push_back(Row::filled<std::uint8_t, std::uint32_t>(256 * sizeof(std::uint32_t)));
        const std::uint32_t bounds[] = {0, 128, 255, randomBelow(256)};
        const auto bound = static_cast<std::uint8_t>(bounds[randomBelow(4)]);
        rows.push_back(Row::filled<std::uint8_t>(4 * count));
        const std::size_t alphaIndex = randomBelow(2) * 3;
        compare(rows, count, [=](const KernelSet& kernels, Rows& r) {
            kernels.levels.makeCounted(levelsOf(r[1]), alphaIndex, count, levelsOf(r[4]));
            kernels.levels.addTones(levelsOf(r[0]), bound, levelsOf(r[4]), count,
                                    r[2].as<ToneSums>());
            addUp(r[2].as<ToneSums>());
            kernels.levels.countLowest(levelsOf(r[0]), bound, count, r[3].as<std::uint32_t>());
        });
    });
}

INSTANTIATE_TEST_SUITE_P(, VariantsTest,
                         testing::ValuesIn(availableVariants().begin() + 1,
                                           availableVariants().end()));

TEST(Variants, AreBuiltForThisProcessor) {
#if defined(__x86_64__)
    EXPECT_EQ(availableVariants().size() > 1, __builtin_cpu_supports("avx2") != 0);
#elif defined(__aarch64__)
    EXPECT_GT(availableVariants().size(), 1U);
#endif
}

} // namespace
} // namespace tintwell::kernels
