#include "ostreljet/numerics/KVector.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <new>

using ostreljet::KVector;
using ostreljet::vector3;

namespace {

KVector<double> oneTwoThree() {
    KVector<double> v;
    v.resize(3);
    v.set(1, 1.0);
    v.set(2, 2.0);
    v.set(3, 3.0);
    return v;
}

} // namespace

TEST(KVectorResize, ZeroOnEmptyAndFilledLeavesNullData) {
    KVector<double> empty;
    empty.resize(0);
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(empty.size, 0);

    KVector<double> filled = oneTwoThree();
    filled.resize(0);
    EXPECT_EQ(filled.data, nullptr);
    EXPECT_EQ(filled.size, 0);
}

TEST(KVectorResize, GrowZeroFillsAndShrinkTruncates) {
    KVector<double> v = oneTwoThree();
    v.resize(5);
    ASSERT_EQ(v.size, 5);
    const double grown[] = {1.0, 2.0, 3.0, 0.0, 0.0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(v[i], grown[i]) << i;
    }
    v.resize(2);
    ASSERT_EQ(v.size, 2);
    EXPECT_EQ(v[0], 1.0);
    EXPECT_EQ(v[1], 2.0);
}

TEST(KVectorResize, NegativeCountThrowsAndKeepsOldArray) {
    KVector<double> v = oneTwoThree();
    const double *before = v.data;
    EXPECT_THROW(v.resize(-1), std::bad_alloc);
    EXPECT_EQ(v.data, before);
    EXPECT_EQ(v.size, 3);
    EXPECT_EQ(v[2], 3.0);
}

TEST(KVectorResize, SameSizeReallocatesAndKeepsValues) {
    KVector<double> v = oneTwoThree();
    v.resize(3);
    EXPECT_EQ(v[0], 1.0);
    EXPECT_EQ(v[2], 3.0);
}

TEST(KVectorArithmetic, NormDotAndScaling) {
    KVector<double> v = oneTwoThree();
    EXPECT_DOUBLE_EQ(v.norm(), std::sqrt(14.0));
    EXPECT_DOUBLE_EQ(v.dot(v), 14.0);
    v *= 2.0;
    EXPECT_EQ(v[2], 6.0);
    v /= 4.0;
    EXPECT_EQ(v[0], 0.5);
}

TEST(KVectorCopy, IsDeep) {
    KVector<double> a = oneTwoThree();
    KVector<double> b;
    b = a;
    b[0] = 9.0;
    EXPECT_EQ(a[0], 1.0);
    EXPECT_NE(a.data, b.data);
}

TEST(KVectorNested, MatrixOfRows) {
    KVector<KVector<double>> m;
    m.resize(2);
    m[0].resize(2);
    m[1].resize(2);
    m[1][0] = 4.0;
    KVector<KVector<double>> copy = m;
    copy[1][0] = 5.0;
    EXPECT_EQ(m[1][0], 4.0);
    EXPECT_EQ(copy[1][0], 5.0);
}

TEST(Vector3, DefaultIsThreeZeros) {
    vector3 v;
    ASSERT_EQ(v.size, 3);
    EXPECT_EQ(v.x(), 0.0);
    EXPECT_EQ(v.y(), 0.0);
    EXPECT_EQ(v.z(), 0.0);
}

TEST(Vector3, UnitOfZeroIsZeroAndOfThreeFourIsExact) {
    vector3 zero;
    vector3 u0 = zero.unit();
    EXPECT_EQ(u0.x(), 0.0);
    EXPECT_EQ(u0.y(), 0.0);
    EXPECT_EQ(u0.z(), 0.0);

    vector3 u = vector3(3.0, 0.0, 4.0).unit();
    EXPECT_DOUBLE_EQ(u.x(), 0.6);
    EXPECT_EQ(u.y(), 0.0);
    EXPECT_DOUBLE_EQ(u.z(), 0.8);
}

TEST(Vector3, CrossIsRightHanded) {
    vector3 xy = cross(vector3(1, 0, 0), vector3(0, 1, 0));
    EXPECT_EQ(xy.x(), 0.0);
    EXPECT_EQ(xy.y(), 0.0);
    EXPECT_EQ(xy.z(), 1.0);
    vector3 yx = cross(vector3(0, 1, 0), vector3(1, 0, 0));
    EXPECT_EQ(yx.z(), -1.0);
    // (1,2,3) x (4,5,6) = (-3, 6, -3)
    vector3 c = cross(vector3(1, 2, 3), vector3(4, 5, 6));
    EXPECT_EQ(c.x(), -3.0);
    EXPECT_EQ(c.y(), 6.0);
    EXPECT_EQ(c.z(), -3.0);
}

TEST(Vector3, CopyIsIndependent) {
    vector3 a(1, 2, 3);
    vector3 b(a);
    b[1] = 7.0;
    EXPECT_EQ(a.y(), 2.0);
}

TEST(Vector3, SumDifferenceScalingDot) {
    vector3 a(1, 2, 3);
    vector3 b(-2, 0.5, 4);
    vector3 s = a + b;
    EXPECT_EQ(s.x(), -1.0);
    EXPECT_EQ(s.y(), 2.5);
    EXPECT_EQ(s.z(), 7.0);
    vector3 d = a - b;
    EXPECT_EQ(d.x(), 3.0);
    EXPECT_EQ(d.z(), -1.0);
    vector3 k = 2.0 * a;
    EXPECT_EQ(k.z(), 6.0);
    EXPECT_EQ((a / 2.0).x(), 0.5);
    EXPECT_EQ(dot(a, b), -2.0 + 1.0 + 12.0);
    EXPECT_EQ((-a).y(), -2.0);
}
