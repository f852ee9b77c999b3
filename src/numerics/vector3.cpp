#include "ostreljet/numerics/vector3.hpp"

namespace ostreljet {

vector3::vector3() {
    resize(3);
}

vector3::vector3(double x, double y, double z) {
    resize(3);
    data[0] = x;
    data[1] = y;
    data[2] = z;
}

vector3::~vector3() = default;

vector3 vector3::unit() const {
    const double length = norm();
    vector3 result(*this);
    if (length > 0.0) {
        result /= length;
    }
    return result;
}

vector3 &vector3::operator+=(const vector3 &other) {
    data[0] += other.data[0];
    data[1] += other.data[1];
    data[2] += other.data[2];
    return *this;
}

vector3 &vector3::operator-=(const vector3 &other) {
    data[0] -= other.data[0];
    data[1] -= other.data[1];
    data[2] -= other.data[2];
    return *this;
}

vector3 &vector3::operator*=(double s) {
    KVector<double>::operator*=(s);
    return *this;
}

vector3 &vector3::operator/=(double s) {
    KVector<double>::operator/=(s);
    return *this;
}

vector3 cross(const vector3 &a, const vector3 &b) {
    // The y component is formed as the negated difference, exactly as the model was written.
    return vector3(a.y() * b.z() - a.z() * b.y(), -(a.x() * b.z() - b.x() * a.z()),
                   a.x() * b.y() - a.y() * b.x());
}

vector3 operator+(const vector3 &a, const vector3 &b) {
    return vector3(a.x() + b.x(), a.y() + b.y(), a.z() + b.z());
}

vector3 operator-(const vector3 &a, const vector3 &b) {
    return vector3(a.x() - b.x(), a.y() - b.y(), a.z() - b.z());
}

vector3 operator-(const vector3 &a) {
    return vector3(-a.x(), -a.y(), -a.z());
}

vector3 operator*(const vector3 &a, double s) {
    return vector3(a.x() * s, a.y() * s, a.z() * s);
}

vector3 operator*(double s, const vector3 &a) {
    return vector3(s * a.x(), s * a.y(), s * a.z());
}

vector3 operator/(const vector3 &a, double s) {
    return vector3(a.x() / s, a.y() / s, a.z() / s);
}

double dot(const vector3 &a, const vector3 &b) {
    return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}

} // namespace ostreljet
