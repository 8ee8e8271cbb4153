#include "tool/findings/analysis_writer.h"
#include "tool/values/option_values.h"

namespace tintwell::tool {
namespace {

class CsvWriter : public AnalysisWriter {
public:
    explicit CsvWriter(std::ostream& stream) : stream_(stream) {}

    void begin(const AnalysisHeader&) override {
        stream_ << "frame,time,cut,new_scene";
        for (const std::string_view channel : kChannelNames) {
            stream_ << "," << channel << "_distance";
        }
        for (const std::string_view channel : kChannelNames) {
            stream_ << "," << channel << "_clip_low," << channel << "_clip_high";
            for (const std::string_view kind : {"found", "smoothed"}) {
                for (const LevelsField& field : kLevelsFields) {
                    stream_ << "," << channel << "_" << kind << "_" << field.name;
                }
            }
        }
        stream_ << "\n";
    }

    void add(const inspect::FrameFindings& findings) override {
        stream_ << findings.frame << "," << timeText(findings.seconds) << ","
                << inspect::cutBefore(findings) << "," << findings.startsScene;
        if (const auto& distance = findings.fromPrevious) {
            for (const double part : {distance->red, distance->green, distance->blue}) {
                stream_ << "," << numberText(part);
            }
        } else {
            stream_ << ",,,";
        }
        for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
            stream_ << "," << findings.clipPoints[c].low << "," << findings.clipPoints[c].high;
            addLevels(findings.found.entries[c + 1]);
            addLevels(findings.smoothed.entries[c + 1]);
        }
        stream_ << "\n";
    }

    void end(const inspect::CorrectionSummary&, const std::vector<std::string>&) override {}

private:
    void addLevels(const LevelsEntry& levels) {
        for (const LevelsField& field : kLevelsFields) {
            stream_ << "," << numberText(levels.*field.member / field.scale);
        }
    }

    std::ostream& stream_;
};

} // namespace

std::unique_ptr<AnalysisWriter> makeCsvWriter(std::ostream& stream) {
    return std::make_unique<CsvWriter>(stream);
}

} // namespace tintwell::tool
