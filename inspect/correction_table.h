#pragma once

#include "host/frame_buffer.h"
#include "inspect/frame_findings.h"

#include <array>
#include <cstddef>
#include <vector>

namespace tintwell::inspect {

/// What a correction makes of red, green and blue: outputs from 0 to 1 for inputs that are evenly
/// spaced from 0 to 1, linear between them.
using CorrectionTable = std::array<std::vector<double>, 3>;

/// The correction as a render at this depth does it, blending included: opaque pixels have no
/// other. 256 entries at 8 bits, one a level, and 4097 at 16 bits; the module works with just as
/// many.
CorrectionTable correctionTable(const FrameFindings& findings, host::SampleDepth depth);

/// The same with so many entries, at least 2.
CorrectionTable resampled(const CorrectionTable& table, std::size_t size);

/// By how much, of 1, `points` with straight lines between them differs from the table where it
/// differs most, measured at all entries of the table. That is also what a cube of these points is
/// wrong by, interpolated by cubes or by tetrahedra: each output depends on one of the inputs only,
/// along which both are straight.
double largestDifference(const CorrectionTable& table, const CorrectionTable& points);

} // namespace tintwell::inspect
