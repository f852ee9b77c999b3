// The vector exponential for processors with AVX2 and FMA: glibc's vector math library (libmvec), its
// four-lane exponential under the x86-64 vector function ABI. This source alone is compiled for AVX2, and
// VectorExp calls it only where the processor has AVX2 and FMA.

#include <immintrin.h>

#include <cstddef>

extern "C" __m256d _ZGVdN4v_exp(__m256d x); // libmvec: e^x in each lane

namespace ostreljet {

void vectorExpAvx2(const double *x, double *out, std::size_t count) {
    // Whole registers from the row, then the rest through one register padded with zeros: lanes do not
    // mix, so each value is the same in either.
    constexpr std::size_t lanes = 4;
    std::size_t k = 0;
    for (; k + lanes <= count; k += lanes)
        _mm256_storeu_pd(out + k, _ZGVdN4v_exp(_mm256_loadu_pd(x + k)));
    if (k < count) {
        alignas(32) double rest[lanes] = {};
        for (std::size_t j = k; j < count; ++j)
            rest[j - k] = x[j];
        _mm256_store_pd(rest, _ZGVdN4v_exp(_mm256_load_pd(rest)));
        for (std::size_t j = k; j < count; ++j)
            out[j] = rest[j - k];
    }
}

} // namespace ostreljet
