#include "ostreljet/platform/SafeArray.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

namespace {

void putDouble(SAFEARRAY *array, LONG first, LONG second, double value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_R8;
    v.dblVal = value;
    const LONG indices[2] = {first, second};
    ASSERT_EQ(SafeArrayPutElement(array, indices, &v), S_OK);
}

} // namespace

TEST(SafeArray, TwoDimensionalVariantsAreStoredColumnMajor) {
    // A 4 x 3 grid as packed for a host: four values per point, points along the second dimension.
    const SAFEARRAYBOUND bounds[2] = {{4, 0}, {3, 0}};
    SAFEARRAY *array = SafeArrayCreate(VT_VARIANT, 2, bounds);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(SafeArrayGetDim(array), 2u);
    for (LONG p = 0; p < 3; ++p) {
        for (LONG c = 0; c < 4; ++c) {
            putDouble(array, c, p, 10.0 * p + c);
        }
    }
    void *data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    const auto *elements = static_cast<const VARIANT *>(data);
    // Storage position = c + 4 p: the four values of one point are adjacent.
    EXPECT_EQ(elements[0].dblVal, 0.0);
    EXPECT_EQ(elements[1].dblVal, 1.0);
    EXPECT_EQ(elements[3].dblVal, 3.0);
    EXPECT_EQ(elements[4].dblVal, 10.0);
    EXPECT_EQ(elements[11].dblVal, 23.0);
    EXPECT_EQ(elements[6].vt, VT_R8);
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    ASSERT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), E_UNEXPECTED);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, BoundsAndIndexChecksFollowLowerBounds) {
    const SAFEARRAYBOUND bounds[2] = {{3, -1}, {2, 5}};
    SAFEARRAY *array = SafeArrayCreate(VT_R8, 2, bounds);
    ASSERT_NE(array, nullptr);
    LONG bound = 0;
    ASSERT_EQ(SafeArrayGetLBound(array, 1, &bound), S_OK);
    EXPECT_EQ(bound, -1);
    ASSERT_EQ(SafeArrayGetUBound(array, 1, &bound), S_OK);
    EXPECT_EQ(bound, 1);
    ASSERT_EQ(SafeArrayGetLBound(array, 2, &bound), S_OK);
    EXPECT_EQ(bound, 5);
    ASSERT_EQ(SafeArrayGetUBound(array, 2, &bound), S_OK);
    EXPECT_EQ(bound, 6);
    EXPECT_EQ(SafeArrayGetLBound(array, 0, &bound), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayGetUBound(array, 3, &bound), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &bound), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetLBound(array, 1, nullptr), E_INVALIDARG);

    double value = 7.25;
    const LONG last[2] = {1, 6};
    ASSERT_EQ(SafeArrayPutElement(array, last, &value), S_OK);
    double read = 0.0;
    ASSERT_EQ(SafeArrayGetElement(array, last, &read), S_OK);
    EXPECT_EQ(read, 7.25);
    // (1, 6) lies at (1 - -1) + 3 (6 - 5) = 5 in storage.
    EXPECT_EQ(static_cast<const double *>(array->pvData)[5], 7.25);

    for (const auto &outside : {std::pair<LONG, LONG>{2, 5}, {-2, 5}, {1, 7}, {0, 4}}) {
        const LONG indices[2] = {outside.first, outside.second};
        EXPECT_EQ(SafeArrayGetElement(array, indices, &read), DISP_E_BADINDEX)
            << outside.first << "," << outside.second;
        EXPECT_EQ(SafeArrayPutElement(array, indices, &value), DISP_E_BADINDEX);
    }
    EXPECT_EQ(SafeArrayGetElement(array, nullptr, &read), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetElement(nullptr, last, &read), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, RefusesBadTypesNoDimensionsAndOversizedArrays) {
    const SAFEARRAYBOUND bound{1, 0};
    EXPECT_EQ(SafeArrayCreate(VT_DISPATCH, 1, &bound), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_EMPTY, 1, &bound), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_VARIANT, 0, &bound), nullptr);
    // A point count of -1 reinterpreted as unsigned: 4 x 4294967295 variants cannot exist.
    const SAFEARRAYBOUND huge[2] = {{4, 0}, {static_cast<ULONG>(-1), 0}};
    EXPECT_EQ(SafeArrayCreate(VT_VARIANT, 2, huge), nullptr);
    EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}
