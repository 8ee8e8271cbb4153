// Loads the effect module, goes through all its commands and prints what it answered and a digest
// of what it rendered, a line per case. Built for several systems and processors, it prints the
// same lines on each: nothing here or in the module may depend on where it runs.

#include "host/declaration/declaration.h"
#include "host/effect_instance.h"
#include "module/numeric/real_functions.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
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

    void add(const std::string& text) { add(text.data(), text.size()); }

    void add(double value) { add(&value, sizeof(value)); }

    std::string text() const {
        std::ostringstream digits;
        digits << std::hex << std::setw(16) << std::setfill('0') << value_;
        return digits.str();
    }

private:
    std::uint64_t value_ = 0xcbf29ce484222325U;
};

std::ostream& operator<<(std::ostream& stream, const declaration::Version& version) {
    return stream << version.major << "." << version.minor;
}

/// A line of its own: what it is about, and the answers.
template <class... Answers>
void print(const std::string& what, const Answers&... answers) {
    std::cout << what << ":";
    ((std::cout << " " << answers), ...);
    std::cout << "\n";
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

std::size_t sampleBytesOf(SampleDepth depth) {
    return depth == SampleDepth::Bits8 ? 1 : 2;
}

/// Paints its frames whenever they are asked for.
class Clip : public host::FrameSource {
public:
    Clip(SampleDepth depth, ChannelOrder order) : depth_(depth), order_(order) {}

    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        auto picture = std::make_shared<FrameBuffer>(kWidth, kHeight, depth_);
        const std::size_t sampleBytes = sampleBytesOf(depth_);
        std::minstd_rand random(static_cast<unsigned>(index) + 1);
        for (std::int32_t y = 0; y < kHeight; ++y) {
            std::byte* at = picture->row(y);
            for (std::int32_t x = 0; x < kWidth; ++x) {
                const auto noise = static_cast<int>(random() >> 8U);
                const auto [red, green, blue] = colorAt(index, x, y, noise);
                std::array<int, 4> pixel = {32767 - 100 * y, red, green, blue};
                if (order_ == ChannelOrder::Bgra) {
                    std::ranges::reverse(pixel);
                }
                for (const int value : pixel) {
                    const int sample = std::min(value, 32767) >> (sampleBytes == 2 ? 0 : 7);
                    std::memcpy(at, &sample, sampleBytes); // all systems are little-endian
                    at += sampleBytes;
                }
            }
        }
        return picture;
    }

private:
    SampleDepth depth_;
    ChannelOrder order_;
};

struct RenderCase {
    const char* name;
    std::array<ControlTrack, host::kControlCount> controls; ///< in the order of host::Control
};

std::vector<RenderCase> renderCases() {
    const ControlTrack off(0.0);
    const ControlTrack on(1.0);
    const ControlTrack clip(0.1);
    const ControlTrack keyed({{0, 0.0}, {6, 4.5}, {12, 1.0}});
    const auto at = [](double value) { return ControlTrack(value); };
    return {
        {"plain", {off, off, clip, clip, off, off}},
        {"snap", {off, off, clip, at(2.5), on, off}},
        {"keyed blend", {off, off, keyed, clip, on, at(37.0)}},
        {"smooth", {at(0.3), off, clip, clip, off, off}},
        {"smooth scenes keyed snap", {at(0.4), on, keyed, at(1.0), on, at(12.5)}},
    };
}

/// Renders the clip from its first frame to its last, and some frames a second time.
void renderClip(const std::shared_ptr<const host::ModuleLibrary>& module, const RenderCase& c,
                SampleDepth depth, ChannelOrder order) {
    Clip clip(depth, order);
    host::InstanceOptions options;
    options.timing = {kFrames, 1001, 30000};
    options.channelOrder = order;
    options.frames = &clip;
    options.controls.emplace();
    for (std::size_t i = 0; i < c.controls.size(); ++i) {
        (*options.controls)[static_cast<Control>(i + 1)] = c.controls[i];
    }
    host::EffectInstance effect(module, options);
    effect.setUp();
    Digest digest;
    const auto render = [&](std::int32_t frame) {
        FrameBuffer output(kWidth, kHeight, depth);
        effect.render(frame, *clip.frame(frame), output);
        for (std::int32_t y = 0; y < kHeight; ++y) {
            digest.add(output.row(y), kWidth * 4 * sampleBytesOf(depth));
        }
    };
    for (std::int32_t frame = 0; frame < kFrames; ++frame) {
        render(frame);
    }
    for (const std::int32_t frame : {3, 11}) {
        effect.setControl(Control::WhiteClip, ControlTrack(0.7), frame);
        render(frame);
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
    Digest about;
    about.add(effect.about());
    print("about", about.text());
    const host::ModuleInfo& info = effect.info();
    print("version and flags", info.version, info.outFlags, info.outFlags2);
    Digest controls;
    for (const host::ControlDeclaration& control : effect.declaredControls()) {
        controls.add(control.name);
        controls.add(control.initialValue);
        controls.add(control.validMaximum);
    }
    print("controls", controls.text());
    effect.setControl(Control::WhiteClip, ControlTrack(2.0));
    print("scene detect greyed out", effect.isDisabled(Control::SceneDetect) ? "yes" : "no");
    print("sequence resetup", effect.send(Command::SequenceResetup));
    print("unused and unknown commands", effect.send(Command{9}), effect.send(Command{15}));
    effect.setDown();
    for (const std::string& sentence : effect.ledger().outstanding()) {
        print("left behind", sentence);
    }
}

void printDeclaration(const char* file) {
    const declaration::Declaration declared = declaration::readDeclaration(file);
    for (std::size_t i = 0; i < declared.values.size(); ++i) {
        std::visit(
            [&](const auto& value) {
                print(std::string("declared ") + property_list::kProperties[i].label, value);
            },
            declared.values[i]);
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
        std::cerr << "usage: render_digest MODULE\n";
        return 2;
    }
    try {
        tintwell::portable::run(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "render_digest: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
