#pragma once
// The exponential e^(-x) of a double-double argument, to double-double accuracy.

#include "tb/double_double.hpp"

namespace tbrelax {

// e^(-x) with a relative error below 1e-29 for |x| <= 600 (closer to 700 the low part turns
// subnormal and the result degrades towards double accuracy). Beyond 700 the result is 0 for
// x > 0 and +inf for x < 0; NaN passes through.
double_double exp_neg(double_double x);

}  // namespace tbrelax
