#pragma once

// The transcendental functions the effect's results depend on. Mathematics libraries differ in the
// last bit, from system to system and even from processor to processor, and a last bit can move a
// level. These give the same bits wherever double arithmetic is IEEE 754's, rounded to nearest and
// without contraction.

namespace tintwell::real {

// The error is below 0.52 units in the last place, so that a result which a double can hold is that
// double. Not-a-number gives not-a-number.

/// `base` at or above 0, finite. 0 gives 0: exponents are above 0 there.
double pow(double base, double exponent);

double exp(double value);

/// Minus infinity for 0, not-a-number below it.
double log(double value);

} // namespace tintwell::real
