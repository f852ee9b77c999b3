#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace ostreljet {

// A heap array of exact length with one-based store and zero-based direct access.
// There is no spare capacity: every resize reallocates, and indexes are never checked.
template <typename T> class OSTRELJET_EXPORT KVector {
public:
    T *data = nullptr;     // owned array of `size` elements; null when empty
    std::int32_t size = 0; // number of elements

    KVector() = default;

    KVector(const KVector &other) { copyFrom(other); }
    KVector &operator=(const KVector &other) {
        if (this != &other) {
            copyFrom(other);
        }
        return *this;
    }
    KVector(KVector &&other) noexcept : data(other.data), size(other.size) {
        other.data = nullptr;
        other.size = 0;
    }
    KVector &operator=(KVector &&other) noexcept {
        if (this != &other) {
            delete[] data;
            data = other.data;
            size = other.size;
            other.data = nullptr;
            other.size = 0;
        }
        return *this;
    }
    ~KVector() {
        delete[] data;
        data = nullptr;
        size = 0;
    }

    // Sets the length to exactly n, keeping the first min(n, size) elements and zero-filling the rest.
    // A count whose byte size overflows (every negative count included) throws std::bad_alloc and
    // leaves the vector as it was.
    void resize(std::int32_t n) {
        if (n == 0) {
            delete[] data;
            data = nullptr;
            size = 0;
            return;
        }
        if (n < 0 || static_cast<std::uint64_t>(n) > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        T *fresh = new T[static_cast<std::size_t>(n)]();
        if (data != nullptr) {
            const std::int32_t kept = n < size ? n : size;
            for (std::int32_t i = 0; i < kept; ++i) {
                fresh[i] = data[i];
            }
            delete[] data;
        }
        data = fresh;
        size = n;
    }

    // One-based store: element i-1 becomes value.
    void set(std::int32_t i, const T &value) { data[i - 1] = value; }

    T &operator[](std::int32_t i) { return data[i]; }
    const T &operator[](std::int32_t i) const { return data[i]; }

    // Euclidean length: the square root of the sum of each element squared.
    double norm() const;
    // Sum of products of corresponding elements over this vector's length.
    double dot(const KVector &other) const;

    KVector &operator*=(double s) {
        for (std::int32_t i = 0; i < size; ++i) {
            data[i] *= s;
        }
        return *this;
    }
    KVector &operator/=(double s) {
        for (std::int32_t i = 0; i < size; ++i) {
            data[i] /= s;
        }
        return *this;
    }

private:
    void copyFrom(const KVector &other) {
        resize(other.size);
        for (std::int32_t i = 0; i < other.size; ++i) {
            data[i] = other.data[i];
        }
    }
};

template <> OSTRELJET_EXPORT double KVector<double>::norm() const;
template <> OSTRELJET_EXPORT double KVector<double>::dot(const KVector<double> &other) const;

extern template class KVector<double>;

} // namespace ostreljet
