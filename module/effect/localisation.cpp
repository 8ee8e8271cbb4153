#include "module/effect/localisation.h"

#include <iterator>

namespace tintwell {
namespace {

// The host resolves an index to the text after the equals sign, or to a translation of it, and
// expands "#{cr}" to a line break.
// Hosts take the count of the descriptor as the number of entries, or as one more: the last entry
// is there for those that read it, and says nothing.
constexpr StringTableEntry kEntries[] = {
    {"$$$/QX/Tintwell/LStr/0000=Tintwell, v%d.%d#{cr}#{cr}"
     "Copyright 2026 the Tintwell authors.#{cr}#{cr}"
     "Automatically adjust color by searching for shadows, midtones and highlights.",
     {}},
    {"$$$/QX/Tintwell/LStr/0001=Tintwell", {}},
    {"$$$/QX/Tintwell/LStr/0002=Temporal Smoothing (seconds)", {}},
    {"$$$/QX/Tintwell/LStr/0003=Scene Detect", {}},
    {"$$$/QX/Tintwell/LStr/0004=Black Clip", {}},
    {"$$$/QX/Tintwell/LStr/0005=White Clip", {}},
    {"$$$/QX/Tintwell/LStr/0006=Snap Neutral Midtones", {}},
    {"$$$/QX/Tintwell/LStr/0007=Blend With Original", {}},
    {nullptr, {}},
};

constexpr StringTableDescriptor kDescriptor = {"", std::size(kEntries), kEntries};

} // namespace

const StringTableDescriptor& stringTableDescriptor() {
    return kDescriptor;
}

} // namespace tintwell
