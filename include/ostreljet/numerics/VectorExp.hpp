#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>

namespace ostreljet {

// e^x over a row of values, four at a time where the processor has AVX2 with FMA (glibc's vector math
// library, chosen once, when first used), else value by value with the C library's exp. Each result
// depends on its own argument alone, whatever its place in the row or the row's length, so that a single
// value and a whole row agree to the bit. The vector exponential is within 4 ulp of e^x (glibc's stated
// bound; 3 ulp from the C library's exp at most, measured over 1e6 arguments). Stateless: any thread may
// call it.
class OSTRELJET_EXPORT VectorExp {
public:
    // out[k] = e^x[k] for k < count (dimensionless); out may be x itself.
    static void apply(const double *x, double *out, std::size_t count);
};

} // namespace ostreljet
