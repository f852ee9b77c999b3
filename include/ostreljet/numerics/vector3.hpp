#pragma once

#include "ostreljet/Export.hpp"

#include <cmath>
#include <cstdint>

namespace ostreljet {

// A point, velocity or direction in the site frame: x east, y north, z up.
// A plain value of three doubles: element 0 is x, 1 is y, 2 is z. Copies are cheap and never allocate.
class OSTRELJET_EXPORT vector3 {
public:
    static constexpr std::int32_t size = 3; // number of elements

    double data[3] = {0.0, 0.0, 0.0}; // x, y, z

    constexpr vector3() = default;
    constexpr vector3(double x, double y, double z) : data{x, y, z} {}

    constexpr double x() const { return data[0]; }
    constexpr double y() const { return data[1]; }
    constexpr double z() const { return data[2]; }

    // One-based store: element i-1 becomes value; i is not checked.
    constexpr void set(std::int32_t i, double value) { data[i - 1] = value; }
    // Zero-based access, unchecked.
    constexpr double &operator[](std::int32_t i) { return data[i]; }
    constexpr const double &operator[](std::int32_t i) const { return data[i]; }

    // Euclidean length.
    double norm() const { return std::sqrt(data[0] * data[0] + data[1] * data[1] + data[2] * data[2]); }
    // Sum of products of corresponding elements, accumulated from 0 in element order.
    double dot(const vector3 &other) const {
        double sum = 0.0;
        sum += data[0] * other.data[0];
        sum += data[1] * other.data[1];
        sum += data[2] * other.data[2];
        return sum;
    }

    // This vector divided by its length; a zero vector is returned unchanged.
    vector3 unit() const {
        const double length = norm();
        vector3 result(*this);
        if (length > 0.0) {
            result /= length;
        }
        return result;
    }

    constexpr vector3 &operator+=(const vector3 &other) {
        data[0] += other.data[0];
        data[1] += other.data[1];
        data[2] += other.data[2];
        return *this;
    }
    constexpr vector3 &operator-=(const vector3 &other) {
        data[0] -= other.data[0];
        data[1] -= other.data[1];
        data[2] -= other.data[2];
        return *this;
    }
    constexpr vector3 &operator*=(double s) {
        data[0] *= s;
        data[1] *= s;
        data[2] *= s;
        return *this;
    }
    constexpr vector3 &operator/=(double s) {
        data[0] /= s;
        data[1] /= s;
        data[2] /= s;
        return *this;
    }
};

// The right-handed cross product a x b. The y component is formed as the negated difference, exactly as
// the model was written.
constexpr vector3 cross(const vector3 &a, const vector3 &b) {
    return vector3(a.y() * b.z() - a.z() * b.y(), -(a.x() * b.z() - b.x() * a.z()),
                   a.x() * b.y() - a.y() * b.x());
}

constexpr vector3 operator+(const vector3 &a, const vector3 &b) {
    return vector3(a.x() + b.x(), a.y() + b.y(), a.z() + b.z());
}
constexpr vector3 operator-(const vector3 &a, const vector3 &b) {
    return vector3(a.x() - b.x(), a.y() - b.y(), a.z() - b.z());
}
constexpr vector3 operator-(const vector3 &a) {
    return vector3(-a.x(), -a.y(), -a.z());
}
constexpr vector3 operator*(const vector3 &a, double s) {
    return vector3(a.x() * s, a.y() * s, a.z() * s);
}
constexpr vector3 operator*(double s, const vector3 &a) {
    return vector3(s * a.x(), s * a.y(), s * a.z());
}
constexpr vector3 operator/(const vector3 &a, double s) {
    return vector3(a.x() / s, a.y() / s, a.z() / s);
}
// a.x b.x + a.y b.y + a.z b.z, in that order.
constexpr double dot(const vector3 &a, const vector3 &b) {
    return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}

} // namespace ostreljet
