#include "ostreljet/numerics/KVector.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <type_traits>
#include <vector>

using ostreljet::KVector;
using ostreljet::vector3;

namespace {
std::vector<double> values(const KVector<double> &v) {
    return {v.data, v.data + v.size};
}
std::vector<double> values(const vector3 &v) {
    return {v.x(), v.y(), v.z()};
}
} // namespace

TEST(KVector, ResizeArithmeticAndDeepCopies) {
    KVector<double> v;
    v.resize(3);
    v.set(1, 1.0); // 1-based
    v.set(3, 3.0);
    v.resize(5); // grows zero-filled, then truncates
    EXPECT_EQ(values(v), (std::vector<double>{1.0, 0.0, 3.0, 0.0, 0.0}));
    v.resize(3);
    EXPECT_EQ(values(v), (std::vector<double>{1.0, 0.0, 3.0}));
    const double *before = v.data;
    EXPECT_THROW(v.resize(-1), std::bad_alloc); // and keeps the old array
    EXPECT_EQ(v.data, before);
    EXPECT_DOUBLE_EQ(v.norm(), std::sqrt(10.0));
    EXPECT_DOUBLE_EQ(v.dot(v), 10.0);
    v *= 2.0;
    v /= 4.0;
    EXPECT_EQ(values(v), (std::vector<double>{0.5, 0.0, 1.5}));
    KVector<KVector<double>> m, copy;
    m.resize(1);
    m[0] = v;
    copy = m;
    copy[0][0] = 9.0;
    EXPECT_EQ(m[0][0], 0.5);
    v.resize(0);
    EXPECT_EQ(v.data, nullptr);
    EXPECT_EQ(v.size, 0);
}

TEST(Vector3, UnitCrossAndArithmetic) {
    EXPECT_EQ(values(vector3().unit()), (std::vector<double>{0.0, 0.0, 0.0})); // the zero vector stays zero
    const vector3 u = vector3(3.0, 0.0, 4.0).unit();
    EXPECT_DOUBLE_EQ(u.x(), 0.6);
    EXPECT_DOUBLE_EQ(u.z(), 0.8);
    EXPECT_EQ(values(cross(vector3(1, 0, 0), vector3(0, 1, 0))), (std::vector<double>{0.0, 0.0, 1.0}));
    EXPECT_EQ(values(cross(vector3(1, 2, 3), vector3(4, 5, 6))), (std::vector<double>{-3.0, 6.0, -3.0}));
    const vector3 a(1, 2, 3), b(-2, 0.5, 4);
    EXPECT_EQ(values(2.0 * (a - b) / 4.0 + -a), (std::vector<double>{0.5, -1.25, -3.5}));
    EXPECT_EQ(dot(a, b), 11.0);
    EXPECT_EQ(a.dot(b), 11.0);
    EXPECT_EQ(a.norm(), std::sqrt(14.0));
    vector3 c = a; // a value: the copy is independent
    c.set(2, 7.0); // one-based
    EXPECT_EQ(values(c), (std::vector<double>{1.0, 7.0, 3.0}));
    EXPECT_EQ(a[1], 2.0);
    static_assert(sizeof(vector3) == 3 * sizeof(double) && std::is_trivially_copyable_v<vector3> &&
                  !std::has_virtual_destructor_v<vector3>);
}
