// The vector exponential for processors with AVX2 and FMA; this source alone is compiled for them, and
// VectorExp calls it only where the processor has both.

#include <xsimd/xsimd.hpp>

#include <cstddef>

namespace ostreljet {

void vectorExpAvx2(const double *x, double *out, std::size_t count) {
    // Whole registers from the row, then the rest through one register padded with zeros: lanes do not
    // mix, so each value is the same in either.
    using Batch = xsimd::batch<double, xsimd::fma3<xsimd::avx2>>;
    constexpr std::size_t lanes = Batch::size;
    std::size_t k = 0;
    for (; k + lanes <= count; k += lanes)
        xsimd::exp(Batch::load_unaligned(x + k)).store_unaligned(out + k);
    if (k < count) {
        alignas(32) double rest[lanes] = {};
        for (std::size_t j = k; j < count; ++j)
            rest[j - k] = x[j];
        xsimd::exp(Batch::load_aligned(rest)).store_aligned(rest);
        for (std::size_t j = k; j < count; ++j)
            out[j] = rest[j - k];
    }
}

} // namespace ostreljet
