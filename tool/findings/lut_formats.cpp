#include "tool/findings/lut_formats.h"

#include "tool/terminal/text_output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

namespace tintwell::tool {
namespace {

/// Rounded up: programs that cut fractions off, as FFmpeg does, would make a value that is a hair
/// below its level the level beneath.
std::string entryText(double value) {
    constexpr double kScale = 1e6;
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", std::ceil(value * kScale) / kScale);
    return text;
}

void writeEntries(std::ostream& stream, const inspect::CorrectionTable& table) {
    for (std::size_t i = 0; i < table[0].size(); ++i) {
        stream << entryText(table[0][i]) << " " << entryText(table[1][i]) << " "
               << entryText(table[2][i]) << "\n";
    }
}

void writeCubeHead(std::ostream& stream, const LutContent& content, const char* size,
                   const char* remark) {
    char title[64];
    std::snprintf(title, sizeof title, "Tintwell, frame %lld at %.3f s",
                  static_cast<long long>(content.frame), content.seconds);
    stream << "TITLE \"" << title << "\"\n"
           << "# as rendered at " << content.depth << " bits per channel; " << content.controls
           << "\n"
           << remark << size << " " << content.table[0].size() << "\n"
           << "DOMAIN_MIN 0.0 0.0 0.0\n"
           << "DOMAIN_MAX 1.0 1.0 1.0\n";
}

void writeCube(std::ostream& stream, const LutContent& content) {
    writeCubeHead(stream, content, "LUT_1D_SIZE", "");
    writeEntries(stream, content.table);
}

/// Red changes fastest.
void writeCube3d(std::ostream& stream, const LutContent& content) {
    char remark[80];
    std::snprintf(remark, sizeof remark, "# off by at most %.2f of 255 levels between its points\n",
                  content.largestError * 255.0);
    writeCubeHead(stream, content, "LUT_3D_SIZE", remark);
    std::array<std::vector<std::string>, 3> texts;
    for (std::size_t c = 0; c < texts.size(); ++c) {
        std::ranges::transform(content.table[c], std::back_inserter(texts[c]), entryText);
    }
    for (const std::string& blue : texts[2]) {
        for (const std::string& green : texts[1]) {
            for (const std::string& red : texts[0]) {
                stream << red << " " << green << " " << blue << "\n";
            }
        }
    }
}

void writeSpi1d(std::ostream& stream, const LutContent& content) {
    stream << "Version 1\n"
           << "From 0.0 1.0\n"
           << "Length " << content.table[0].size() << "\n"
           << "Components 3\n"
           << "{\n";
    writeEntries(stream, content.table);
    stream << "}\n";
}

void writeNumbers(std::ostream& stream, const char* element, double inspect::ColorDecision::*number,
                  const ColorDecisions& decisions) {
    stream << "      <" << element << ">" << decisionText(decisions[0].*number) << " "
           << decisionText(decisions[1].*number) << " " << decisionText(decisions[2].*number)
           << "</" << element << ">\n";
}

constexpr std::string_view kNamespace = " xmlns=\"urn:ASC:CDL:v1.2\"";

void writeColorCorrection(std::ostream& stream, const LutContent& content,
                          std::string_view attributes) {
    using inspect::ColorDecision;
    stream << "  <ColorCorrection id=\"tintwell-frame-" << content.frame << "\"" << attributes
           << ">\n"
           << "    <SOPNode>\n";
    writeNumbers(stream, "Slope", &ColorDecision::slope, content.decisions);
    writeNumbers(stream, "Offset", &ColorDecision::offset, content.decisions);
    writeNumbers(stream, "Power", &ColorDecision::power, content.decisions);
    stream << "    </SOPNode>\n"
           << "    <SatNode>\n"
           << "      <Saturation>1</Saturation>\n"
           << "    </SatNode>\n"
           << "  </ColorCorrection>\n";
}

constexpr std::string_view kXmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

void writeCdl(std::ostream& stream, const LutContent& content) {
    stream << kXmlHead << "<ColorDecisionList" << kNamespace << ">\n<ColorDecision>\n";
    writeColorCorrection(stream, content, "");
    stream << "</ColorDecision>\n</ColorDecisionList>\n";
}

void writeCcc(std::ostream& stream, const LutContent& content) {
    stream << kXmlHead << "<ColorCorrectionCollection" << kNamespace << ">\n";
    writeColorCorrection(stream, content, "");
    stream << "</ColorCorrectionCollection>\n";
}

void writeCc(std::ostream& stream, const LutContent& content) {
    stream << kXmlHead;
    writeColorCorrection(stream, content, kNamespace);
}

} // namespace

const std::array<LutFormat, 6>& lutFormats() {
    static constexpr std::array<LutFormat, 6> kFormats{{
        {"cube", ".cube", LutKind::Table, writeCube},
        {"cube3d", "", LutKind::Cube, writeCube3d},
        {"spi1d", ".spi1d", LutKind::Table, writeSpi1d},
        {"cdl", ".cdl", LutKind::Decision, writeCdl},
        {"ccc", ".ccc", LutKind::Decision, writeCcc},
        {"cc", ".cc", LutKind::Decision, writeCc},
    }};
    return kFormats;
}

const LutFormat* lutFormatOf(const std::string& path) {
    const std::string extension = extensionOf(path);
    const auto& formats = lutFormats();
    const auto* found = std::find_if(formats.begin(), formats.end(), [&](const LutFormat& format) {
        return !extension.empty() && format.extension == extension;
    });
    return found == formats.end() ? nullptr : found;
}

std::string decisionText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", inspect::kDecisionDecimals, value);
    return text;
}

} // namespace tintwell::tool
