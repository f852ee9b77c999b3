#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>

namespace ostreljet {

// e^x over a row of values, a vector register at a time where the processor has AVX2 with FMA (xsimd's
// exponential, chosen once, when first used), else value by value with the C library's exp. Each result
// depends on its own argument alone, whatever its place in the row or the row's length, so that a single
// value and a whole row agree to the bit. The vector exponential is within 1 ulp of the C library's and
// gives 0, not a subnormal number, below e^-708.39 (2.2e-308). Stateless: any thread may call it.
class OSTRELJET_EXPORT VectorExp {
public:
    // out[k] = e^x[k] for k < count (dimensionless); out may be x itself.
    static void apply(const double *x, double *out, std::size_t count);
    // True when rows go through the vector exponential on this processor.
    static bool vectorised();
};

} // namespace ostreljet
