#include "module/counting/analysis_key.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <random>

namespace tintwell {
namespace {

struct Wide {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
};

Wide product(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
    __extension__ using Native = unsigned __int128;
    const Native native = static_cast<Native>(a) * b;
    return {static_cast<std::uint64_t>(native), static_cast<std::uint64_t>(native >> 64U)};
#else
    constexpr std::uint64_t kLow = 0xffffffffU;
    const std::uint64_t low = (a & kLow) * (b & kLow);
    const std::uint64_t cross = (a >> 32U) * (b & kLow) + (low >> 32U);
    const std::uint64_t middle = (a & kLow) * (b >> 32U) + (cross & kLow);
    return {a * b, (a >> 32U) * (b >> 32U) + (cross >> 32U) + (middle >> 32U)};
#endif
}

void add(Wide& sum, const Wide& value) {
    sum.low += value.low;
    sum.high += value.high + (sum.low < value.low ? 1 : 0);
}

constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61U) - 1;

/// Less than 2^61 + 2 and the same modulo the prime, of a product less than 2^123.
std::uint64_t reduced(const Wide& value) {
    const std::uint64_t sum =
        (value.low & kPrime) + (value.high << 3U | value.low >> 61U); // less than 2^64
    return (sum & kPrime) + (sum >> 61U);
}

constexpr std::size_t kPairBytes = 2 * sizeof(std::uint64_t);
constexpr std::size_t kBlockBytes = KeySecret::kBlockWords * sizeof(std::uint64_t);

constexpr std::size_t kMostBlocks = std::size_t{1} << 26U;

std::size_t rowBytesOf(const PixelView& pixels) {
    return pixels.rowPixels * static_cast<std::size_t>(pixels.pixelStep);
}

std::size_t blocksOf(const PixelView& pixels) {
    return static_cast<std::size_t>(pixels.rows) *
           ((rowBytesOf(pixels) + kBlockBytes - 1) / kBlockBytes);
}

/// Adds what two words of a block give with the secret's at their place.
void addPair(Wide& sum, const std::byte* bytes, const std::uint64_t* secret) {
    std::array<std::uint64_t, 2> words;
    std::memcpy(words.data(), bytes, sizeof(words));
    add(sum, product(words[0] + secret[0], words[1] + secret[1]));
}

/// Whatever is left over of a pair of words is filled up with zeros.
Wide hashOfBlock(const std::byte* block, std::size_t bytes, const KeySecret& secret) {
    Wide sum;
    const std::uint64_t* words = secret.words.data();
    std::size_t done = 0;
    for (; done + kPairBytes <= bytes; done += kPairBytes, words += 2) {
        addPair(sum, block + done, words);
    }
    if (done < bytes) {
        std::array<std::byte, kPairBytes> rest{};
        std::memcpy(rest.data(), block + done, bytes - done);
        addPair(sum, rest.data(), words);
    }
    return sum;
}

} // namespace

std::unique_ptr<const KeySecret> KeySecret::draw() {
    auto secret = std::make_unique<KeySecret>();
    try {
        std::random_device device;
        const auto drawWord = [&] {
            std::uniform_int_distribution<std::uint64_t> anyWord;
            return anyWord(device);
        };
        std::ranges::generate(secret->words, drawWord);
        for (std::uint64_t& point : secret->points) {
            do {
                point = drawWord() >> 3U;
            } while (point == kPrime);
        }
    } catch (const std::exception&) {
        return nullptr;
    }
    return secret;
}

KeyHash::KeyHash(const KeySecret* secret, const PixelView& pixels, AutoCorrectionMode mode)
    : secret_(blocksOf(pixels) <= kMostBlocks ? secret : nullptr), pixels_(pixels) {
    if (secret_ == nullptr) {
        return;
    }
    addCoefficient(pixels.rowPixels);
    addCoefficient(static_cast<std::uint64_t>(pixels.rows));
    addCoefficient(static_cast<std::uint64_t>(pixels.bitDepth));
    addCoefficient(static_cast<std::uint64_t>(pixels.channels[0])); // tells the order of channels
    addCoefficient(static_cast<std::uint32_t>(mode));
}

void KeyHash::addCoefficient(std::uint64_t coefficient) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
        values_[i] = reduced(product(values_[i], secret_->points[i])) + coefficient;
    }
}

void KeyHash::addRow(std::int32_t y) {
    if (secret_ == nullptr) {
        return;
    }
    const std::byte* row = pixels_.pixel(y, 0);
    const std::size_t bytes = rowBytesOf(pixels_);
    for (std::size_t done = 0; done < bytes; done += kBlockBytes) {
        const Wide hash = hashOfBlock(row + done, std::min(bytes - done, kBlockBytes), *secret_);
        // 128 bits as three coefficients well below the prime.
        constexpr std::uint64_t kMask = (std::uint64_t{1} << 43U) - 1;
        addCoefficient(hash.low & kMask);
        addCoefficient((hash.low >> 43U | hash.high << 21U) & kMask);
        addCoefficient(hash.high >> 22U);
    }
}

AnalysisKey KeyHash::key() const {
    if (secret_ == nullptr) {
        return {};
    }
    return AnalysisKey({values_[0] % kPrime, values_[1] % kPrime});
}

} // namespace tintwell
