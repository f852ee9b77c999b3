#include "ostreljet/numerics/vector3.hpp"

namespace ostreljet {

vector3 vector3::unit() const {
    const double length = norm();
    vector3 result(*this);
    if (length > 0.0) {
        result /= length;
    }
    return result;
}

vector3 cross(const vector3 &a, const vector3 &b) {
    // The y component is formed as the negated difference, exactly as the model was written.
    return vector3(a.y() * b.z() - a.z() * b.y(), -(a.x() * b.z() - b.x() * a.z()),
                   a.x() * b.y() - a.y() * b.x());
}

} // namespace ostreljet
