// Loads the effect module, goes through all its commands and prints what it answered and a digest
// of what it rendered, a line per case. Built for several systems and processors, it prints the
// same lines on each: nothing here or in the module may depend on where it runs.

#include "declaration/declaration.h"
#include "host/effect_instance.h"
#include "numeric/real_functions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace tintwell::portable {
namespace {

using host::ChannelOrder;
using host::Control;
using host::ControlTrack;
using host::FrameBuffer;
using host::SampleDepth;

constexpr std::int32_t kWidth = 131;
constexpr std::int32_t kHeight = 67;
constexpr std::int32_t kFrames = 16;
constexpr std::int32_t kCut = 9; ///< the frame with which the second scene begins

/// FNV-1a over 64 bits.
class Digest {
public:
    void add(const void* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            value_ = (value_ ^ static_cast<const unsigned char*>(data)[i]) * 0x100000001b3U;
        }
    }

    void add(std::string_view text) { add(text.data(), text.size()); }

    void add(double value) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        add(&bits, sizeof(bits));
    }

    void add(const FrameBuffer& frame) {
        const std::size_t pixelBytes = frame.depth() == SampleDepth::Bits8 ? 4 : 8;
        for (std::int32_t y = 0; y < frame.height(); ++y) {
            add(frame.row(y), static_cast<std::size_t>(frame.width()) * pixelBytes);
        }
    }

    std::string text() const {
        std::array<char, 17> digits{};
        std::snprintf(digits.data(), digits.size(), "%016llx",
                      static_cast<unsigned long long>(value_));
        return digits.data();
    }

private:
    std::uint64_t value_ = 0xcbf29ce484222325U;
};

template <class... Parts>
std::string digestOf(const Parts&... parts) {
    Digest digest;
    (digest.add(parts), ...);
    return digest.text();
}

/// Red, green and blue of a pixel, 0..32768: shading, a shape that moves, noise, a cast that
/// flickers; all in whole numbers.
std::array<int, 3> colorAt(std::int32_t frame, std::int32_t x, std::int32_t y, int noise) {
    const bool secondScene = frame >= kCut;
    const bool shape = (x + 3 * frame) % 47 < 17 && y % 31 < 19;
    int light = 3000 + (secondScene ? 140 * x : 210 * y + 40 * x) + noise % 900;
    light = shape ? light * 3 / 5 : light;
    const int flicker = frame % 3 * 500;
    return secondScene ? std::array{light * 4 / 5, light, light * 9 / 10 + flicker}
                       : std::array{light + 4000 + flicker, light * 9 / 10 + 2000, light * 3 / 5};
}

template <class Sample>
void paint(FrameBuffer& picture, std::int32_t frame, ChannelOrder order) {
    constexpr int kShift = sizeof(Sample) == 1 ? 7 : 0;
    std::minstd_rand random(static_cast<unsigned>(frame) + 1);
    const auto sample = [](int value) {
        return static_cast<Sample>(std::min(value, 32767) >> kShift);
    };
    for (std::int32_t y = 0; y < kHeight; ++y) {
        for (std::int32_t x = 0; x < kWidth; ++x) {
            const auto noise = static_cast<int>(random() >> 8U);
            const auto [red, green, blue] = colorAt(frame, x, y, noise);
            const Sample alpha = sample(32767 - 100 * y);
            const std::array<Sample, 4> pixel =
                order == ChannelOrder::Argb
                    ? std::array{alpha, sample(red), sample(green), sample(blue)}
                    : std::array{sample(blue), sample(green), sample(red), alpha};
            std::memcpy(picture.row(y) + static_cast<std::size_t>(x) * sizeof(pixel), pixel.data(),
                        sizeof(pixel));
        }
    }
}

class Clip : public host::FrameSource {
public:
    Clip(SampleDepth depth, ChannelOrder order) {
        for (std::int32_t frame = 0; frame < kFrames; ++frame) {
            auto picture = std::make_shared<FrameBuffer>(kWidth, kHeight, depth);
            if (depth == SampleDepth::Bits8) {
                paint<std::uint8_t>(*picture, frame, order);
            } else {
                paint<std::uint16_t>(*picture, frame, order);
            }
            frames_.push_back(std::move(picture));
        }
    }

    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        return frames_.at(static_cast<std::size_t>(index));
    }

private:
    std::vector<std::shared_ptr<FrameBuffer>> frames_;
};

struct RenderCase {
    const char* name;
    host::ControlTracks controls;
};

host::ControlTracks controlsOf(double smoothing, bool sceneDetect, ControlTrack blackClip,
                               double whiteClip, bool snap, double blend) {
    host::ControlTracks controls;
    controls[Control::TemporalSmoothing] = ControlTrack(smoothing);
    controls[Control::SceneDetect] = ControlTrack(sceneDetect ? 1.0 : 0.0);
    controls[Control::BlackClip] = std::move(blackClip);
    controls[Control::WhiteClip] = ControlTrack(whiteClip);
    controls[Control::SnapNeutralMidtones] = ControlTrack(snap ? 1.0 : 0.0);
    controls[Control::BlendWithOriginal] = ControlTrack(blend);
    return controls;
}

std::vector<RenderCase> renderCases() {
    const ControlTrack plain(0.1);
    const ControlTrack keyed({{0, 0.0}, {6, 4.5}, {12, 1.0}});
    return {
        {"plain", controlsOf(0.0, false, plain, 0.1, false, 0.0)},
        {"snap", controlsOf(0.0, false, plain, 2.5, true, 0.0)},
        {"keyed blend", controlsOf(0.0, false, keyed, 0.1, true, 37.0)},
        {"smooth", controlsOf(0.3, false, plain, 0.1, false, 0.0)},
        {"smooth scenes keyed snap", controlsOf(0.4, true, keyed, 1.0, true, 12.5)},
    };
}

void print(const std::string& what, const std::string& answer) {
    std::printf("%s: %s\n", what.c_str(), answer.c_str());
}

/// Renders the clip from its first frame to its last, and some frames a second time.
void renderClip(const std::shared_ptr<const host::ModuleLibrary>& module, const RenderCase& c,
                SampleDepth depth, ChannelOrder order) {
    Clip clip(depth, order);
    host::InstanceOptions options;
    options.timing = {kFrames, 1001, 30000};
    options.channelOrder = order;
    options.frames = &clip;
    options.controls = c.controls;
    host::EffectInstance effect(module, options);
    effect.setUp();
    FrameBuffer output(kWidth, kHeight, depth);
    Digest digest;
    for (std::int32_t frame = 0; frame < kFrames; ++frame) {
        effect.render(frame, *clip.frame(frame), output);
        digest.add(output);
    }
    for (const std::int32_t frame : {3, 11}) {
        effect.setControl(Control::WhiteClip, ControlTrack(0.7), frame);
        effect.render(frame, *clip.frame(frame), output);
        digest.add(output);
    }
    effect.setDown();
    print(std::string("render ") + c.name +
              (depth == SampleDepth::Bits8 ? ", 8 bits, " : ", 16 bits, ") +
              (order == ChannelOrder::Argb ? "ARGB" : "BGRA"),
          digest.text());
}

/// The commands beside rendering, and that nothing is left behind after them.
void sendCommands(const std::shared_ptr<const host::ModuleLibrary>& module) {
    host::EffectInstance effect(module, {});
    effect.setUp();
    print("about", digestOf(effect.about()));
    print("version and flags", std::to_string(effect.info().version) + " " +
                                   std::to_string(effect.info().outFlags) + " " +
                                   std::to_string(effect.info().outFlags2));
    Digest controls;
    for (const host::ControlDeclaration& control : effect.declaredControls()) {
        controls.add(control.name);
        controls.add(control.initialValue);
        controls.add(control.validMaximum);
    }
    print("controls", controls.text());
    effect.setControl(Control::WhiteClip, ControlTrack(2.0));
    print("scene detect greyed out", effect.isDisabled(Control::SceneDetect) ? "yes" : "no");
    print("sequence resetup", std::to_string(effect.send(Command::SequenceResetup)));
    print("unused and unknown commands", std::to_string(effect.send(static_cast<Command>(9))) +
                                             " " +
                                             std::to_string(effect.send(static_cast<Command>(15))));
    effect.setDown();
    for (const std::string& sentence : effect.ledger().outstanding()) {
        print("left behind", sentence);
    }
}

void printDeclaration(const char* file) {
    struct Text {
        std::string operator()(std::uint32_t number) const { return std::to_string(number); }

        std::string operator()(const declaration::Version& version) const {
            return std::to_string(version.major) + "." + std::to_string(version.minor);
        }

        std::string operator()(const std::string& text) const { return text; }
    };

    const declaration::Declaration declared = declaration::readDeclaration(file);
    for (std::size_t i = 0; i < declared.values.size(); ++i) {
        print(std::string("declared ") + property_list::kProperties[i].label,
              std::visit(Text(), declared.values[i]));
    }
}

/// Every bit of the functions that results go through: rendered levels show few of them.
void printFunctions() {
    Digest digest;
    for (int i = 1; i <= 20000; ++i) {
        digest.add(real::pow(i / 20000.0, 100.0 / (i % 400 + 1)));
        digest.add(real::exp((i - 10000) / 100.0));
        digest.add(real::log(i / 77.0));
    }
    print("functions", digest.text());
}

void run(const char* file) {
    printDeclaration(file);
    printFunctions();
    const auto module = std::make_shared<const host::ModuleLibrary>(file);
    sendCommands(module);
    for (const RenderCase& c : renderCases()) {
        for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
            for (const ChannelOrder order : {ChannelOrder::Argb, ChannelOrder::Bgra}) {
                renderClip(module, c, depth, order);
            }
        }
    }
}

} // namespace
} // namespace tintwell::portable

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: render_digest MODULE\n", stderr);
        return 2;
    }
    try {
        tintwell::portable::run(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "render_digest: %s\n", error.what());
        return 1;
    }
    return 0;
}
