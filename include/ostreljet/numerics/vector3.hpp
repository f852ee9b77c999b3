#pragma once

#include "ostreljet/numerics/KVector.hpp"

namespace ostreljet {

// A point, velocity or direction in the site frame: x east, y north, z up.
// Always three elements; element 0 is x, 1 is y, 2 is z.
class vector3 : public KVector<double> {
public:
    vector3();
    vector3(double x, double y, double z);
    vector3(const vector3 &other) = default;
    vector3 &operator=(const vector3 &other) = default;
    vector3(vector3 &&other) noexcept = default;
    vector3 &operator=(vector3 &&other) noexcept = default;
    virtual ~vector3();

    double x() const { return data[0]; }
    double y() const { return data[1]; }
    double z() const { return data[2]; }

    // This vector divided by its length; a zero vector is returned unchanged.
    vector3 unit() const;

    vector3 &operator+=(const vector3 &other);
    vector3 &operator-=(const vector3 &other);
    vector3 &operator*=(double s);
    vector3 &operator/=(double s);
};

// The right-handed cross product a x b.
vector3 cross(const vector3 &a, const vector3 &b);

vector3 operator+(const vector3 &a, const vector3 &b);
vector3 operator-(const vector3 &a, const vector3 &b);
vector3 operator-(const vector3 &a);
vector3 operator*(const vector3 &a, double s);
vector3 operator*(double s, const vector3 &a);
vector3 operator/(const vector3 &a, double s);
double dot(const vector3 &a, const vector3 &b);

} // namespace ostreljet
