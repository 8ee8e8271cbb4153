// Clips with a known truth, and how steady corrections of them are:
//     tintwell_steadiness list             the clips: name, description
//     tintwell_steadiness write CLIP       the clip to stdout, as raw frames of 8-bit R,G,B
//     tintwell_steadiness measure CLIP     jitter and shake of such frames from stdin
//     tintwell_steadiness ours CLIP        the same of our own ways, one a line
//     tintwell_steadiness cuts SEED        cuts found right, wrong, and missed in a clip of 60
//     shots

#include "ways.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

namespace tintwell::bench {
namespace {

constexpr std::size_t kShots = 100;

ClipDefinition clipNamed(const std::string& name) {
    for (ClipDefinition& clip : allClips()) {
        if (clip.name == name) {
            return std::move(clip);
        }
    }
    throw std::invalid_argument("there is no clip " + name);
}

void write(const ClipDefinition& clip) {
    std::string row;
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        const Picture picture = clipFrame(clip, frame, clip.truth(frame));
        row.clear();
        for (std::size_t i = 0; i < picture.planes[0].size(); ++i) {
            for (const auto& plane : picture.planes) {
                row.push_back(static_cast<char>(static_cast<unsigned char>(plane[i])));
            }
        }
        std::cout.write(row.data(), static_cast<std::streamsize>(row.size()));
    }
}

CurveChanges measure(const ClipDefinition& clip) {
    CurveChanges changes;
    std::string bytes(3 * kClipWidth * kClipHeight, '\0');
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        if (!std::cin.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
            throw std::runtime_error("frame " + std::to_string(frame) + " is missing");
        }
        Picture output(kClipWidth, kClipHeight);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            output.planes[i % 3][i / 3] = static_cast<unsigned char>(bytes[i]);
        }
        const bool beginsShot =
            frame == 0 || std::ranges::find(clip.cuts, frame) != clip.cuts.end();
        changes.add(ToneCurves(clip.truth(frame), output), beginsShot);
    }
    return changes;
}

void run(const std::string& command, const std::string& what) {
    if (command == "list") {
        for (const ClipDefinition& clip : allClips()) {
            std::printf("%s\t%s\n", clip.name.c_str(), clip.description.c_str());
        }
    } else if (command == "write") {
        write(clipNamed(what));
    } else if (command == "measure") {
        const CurveChanges changes = measure(clipNamed(what));
        std::printf("%.3f\t%.3f\n", changes.jitter(), changes.shake());
    } else if (command == "ours") {
        for (const Steadiness& found : ourSteadiness(clipNamed(what))) {
            std::printf("%s\t%.3f\t%.3f\n", found.way.c_str(), found.jitter, found.shake);
        }
    } else if (command == "cuts") {
        const CutsFound found =
            findCuts(cutsClip(static_cast<std::uint32_t>(std::stoul(what)), kShots));
        std::printf("%d\t%d\t%d\n", found.right, found.wrong, found.missed);
    } else {
        throw std::invalid_argument("list, write, measure, ours or cuts");
    }
}

} // namespace
} // namespace tintwell::bench

int main(int count, char** arguments) {
    try {
        tintwell::bench::run(count > 1 ? arguments[1] : "", count > 2 ? arguments[2] : "");
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tintwell_steadiness: %s\n", failure.what());
        return 1;
    }
}
