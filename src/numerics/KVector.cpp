#include "ostreljet/numerics/KVector.hpp"

#include <cmath>

namespace ostreljet {

template <> double KVector<double>::norm() const {
    double sum = 0.0;
    for (std::int32_t i = 0; i < size; ++i) {
        sum += std::pow(data[i], 2.0);
    }
    return std::sqrt(sum);
}

template <> double KVector<double>::dot(const KVector<double> &other) const {
    double sum = 0.0;
    for (std::int32_t i = 0; i < size; ++i) {
        sum += data[i] * other.data[i];
    }
    return sum;
}

template class KVector<double>;

} // namespace ostreljet
