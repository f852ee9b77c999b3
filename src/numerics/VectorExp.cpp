#include "ostreljet/numerics/VectorExp.hpp"

#include <cmath>

namespace ostreljet {

#if defined(OSTRELJET_VECTOR_EXP_AVX2)
// In VectorExpAvx2.cpp, the one source compiled for AVX2.
void vectorExpAvx2(const double *x, double *out, std::size_t count);
#endif

namespace {

void scalarExp(const double *x, double *out, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k)
        out[k] = std::exp(x[k]);
}

using Kernel = void (*)(const double *, double *, std::size_t);

Kernel chosenKernel() {
#if defined(OSTRELJET_VECTOR_EXP_AVX2)
    static const Kernel kernel = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? vectorExpAvx2 : scalarExp;
    }();
    return kernel;
#else
    return scalarExp;
#endif
}

} // namespace

void VectorExp::apply(const double *x, double *out, std::size_t count) {
    chosenKernel()(x, out, count);
}

} // namespace ostreljet
