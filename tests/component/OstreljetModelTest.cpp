// The early-bound interface: run result, message export and the packing of concentration grids.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/component/IOstreljetModel.hpp"

using namespace ostreljet::component::test;
using ostreljet::IID_IOstreljetModel;
using ostreljet::IOstreljetModel;

namespace {

class EarlyBound : public ::testing::Test {
protected:
    void SetUp() override {
        IDispatch *dispatch = createModel();
        ASSERT_NE(dispatch, nullptr);
        ASSERT_EQ(dispatch->QueryInterface(IID_IOstreljetModel, reinterpret_cast<void **>(&model)), S_OK);
        dispatch->Release();
    }
    void TearDown() override {
        if (model != nullptr) {
            model->Release();
        }
    }

    void setValidRelease() {
        ASSERT_EQ(model->put_stackHeight(10), S_OK);
        ASSERT_EQ(model->put_orificeDiameter(0.2), S_OK);
        ASSERT_EQ(model->put_releaseAngle(90), S_OK);
        ASSERT_EQ(model->put_massFlowrate(1), S_OK);
        ASSERT_EQ(model->put_sourceMolecularWeight(0.016), S_OK);
        ASSERT_EQ(model->put_sourceSpecificHeat(2200), S_OK);
        ASSERT_EQ(model->put_sourceSpecificHeatRatio(1.3), S_OK);
        ASSERT_EQ(model->put_sourceTemperature(300), S_OK);
        ASSERT_EQ(model->put_atmosphereSurfaceRoughness(0.1), S_OK);
        ASSERT_EQ(model->put_atmosphereSpecificHeat(1005), S_OK);
        ASSERT_EQ(model->put_stoppingConcentration(0.01), S_OK);
    }

    IOstreljetModel *model = nullptr;
};

} // namespace

TEST_F(EarlyBound, RunWritesOneOrZeroNeverTheAllBitsTrue) {
    VARIANT_BOOL ran = 77;
    EXPECT_EQ(model->runModel(&ran), S_OK);
    EXPECT_EQ(ran, 0);
    setValidRelease();
    EXPECT_EQ(model->runModel(&ran), S_OK);
    EXPECT_EQ(ran, 1);
    // Invalid again: the run still succeeds as a call and reports 0.
    ASSERT_EQ(model->put_stoppingConcentration(1.0), S_OK);
    EXPECT_EQ(model->runModel(&ran), S_OK);
    EXPECT_EQ(ran, 0);
    LONG count = -1;
    EXPECT_EQ(model->get_messageCount(&count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(model->numberOfOutputSteps(&count), S_OK);
    EXPECT_EQ(count, 0);
}

TEST_F(EarlyBound, EnumerationsAndStabilityAreStoredAsGiven) {
    EXPECT_EQ(model->put_pasquillStability(static_cast<ostreljet::PASQUILL>(7)), S_OK);
    ostreljet::PASQUILL stability = ostreljet::PASQUILL_A;
    EXPECT_EQ(model->get_pasquillStability(&stability), S_OK);
    EXPECT_EQ(stability, 7);
    EXPECT_EQ(model->put_timeAveraging(ostreljet::LONG_TIME_AVERAGING), S_OK);
    ostreljet::TIME_AVERAGING averaging = ostreljet::SHORT_TIME_AVERAGING;
    EXPECT_EQ(model->get_timeAveraging(&averaging), S_OK);
    EXPECT_EQ(averaging, ostreljet::LONG_TIME_AVERAGING);
}

TEST_F(EarlyBound, EmptyMessageListExportsAnArrayWithNoElements) {
    // The out variant is initialised, not released: a string it held stays the caller's.
    VARIANT messages;
    messages.vt = VT_BSTR;
    BSTR owned = SysAllocString(u"still mine");
    messages.bstrVal = owned;
    EXPECT_EQ(model->getErrorMessages(&messages), S_OK);
    ASSERT_EQ(messages.vt, VT_ARRAY | VT_VARIANT);
    ASSERT_NE(messages.parray, nullptr);
    EXPECT_EQ(SafeArrayGetDim(messages.parray), 1u);
    EXPECT_EQ(elementCount(messages.parray, 1), 0);
    EXPECT_EQ(wideToUtf8(bstrView(owned)), "still mine");
    SysFreeString(owned);
    VariantClear(&messages);
}

TEST_F(EarlyBound, MessagesAreExportedAsStoredWithoutLevelsOrCodes) {
    setValidRelease();
    ASSERT_EQ(model->put_sourceTemperature(3000), S_OK);
    ASSERT_EQ(model->put_referenceWindSpeed(50), S_OK);
    VARIANT_BOOL ran = 0;
    ASSERT_EQ(model->runModel(&ran), S_OK);
    VARIANT messages;
    ASSERT_EQ(model->getErrorMessages(&messages), S_OK);
    ASSERT_EQ(elementCount(messages.parray, 1), 1);
    Var first = element(messages.parray, {0});
    ASSERT_EQ(first.value.vt, VT_BSTR);
    EXPECT_EQ(bstrToUtf8(first.value.bstrVal),
              "The temperature of the source should lie between 80 and 2500K.");
    VariantClear(&messages);
}

TEST_F(EarlyBound, VersionIsAFreshStringEveryCall) {
    BSTR first = nullptr;
    BSTR second = nullptr;
    EXPECT_EQ(model->get_versionInfo(&first), S_OK);
    EXPECT_EQ(model->get_versionInfo(&second), S_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(bstrToUtf8(first), "1.1.0.0");
    EXPECT_EQ(SysStringLen(second), 7u);
    SysFreeString(first);
    SysFreeString(second);
}

TEST_F(EarlyBound, GridAxesAndCounts) {
    setValidRelease();
    VARIANT_BOOL ran = 0;
    ASSERT_EQ(model->runModel(&ran), S_OK);
    ASSERT_EQ(ran, 1);

    // x walks downwards from 100 to 0 including both ends; z stops one step short of 30.
    VARIANT grid;
    ASSERT_EQ(model->getConcentrationArray(100, 7, 0, 0, 7, 30, 5, 1, 3, &grid), S_OK);
    ASSERT_EQ(elementCount(grid.parray, 2), 15);
    const double xs[] = {100, 75, 50, 25, 0};
    const double zs[] = {0, 10, 20};
    for (LONG i = 0; i < 5; ++i) {
        for (LONG k = 0; k < 3; ++k) {
            const LONG p = i * 3 + k;
            EXPECT_EQ(element(grid.parray, {0, p}).value.dblVal, xs[i]);
            EXPECT_EQ(element(grid.parray, {1, p}).value.dblVal, 7.0); // one point: yStart
            EXPECT_DOUBLE_EQ(element(grid.parray, {2, p}).value.dblVal, zs[k]);
        }
    }
    VariantClear(&grid);

    // No points on one axis: a 4 x 0 array and success.
    ASSERT_EQ(model->getConcentrationArray(0, 0, 0, 1, 1, 1, 3, 3, 0, &grid), S_OK);
    ASSERT_EQ(grid.vt, VT_ARRAY | VT_VARIANT);
    EXPECT_EQ(elementCount(grid.parray, 1), 4);
    EXPECT_EQ(elementCount(grid.parray, 2), 0);
    VariantClear(&grid);

    // Two negative counts make a positive N: the array has N elements, none evaluated or stored.
    ASSERT_EQ(model->getConcentrationArray(0, 0, 0, 1, 1, 1, -2, -3, 1, &grid), S_OK);
    ASSERT_EQ(elementCount(grid.parray, 2), 6);
    for (LONG p = 0; p < 6; ++p) {
        for (LONG c = 0; c < 4; ++c) {
            EXPECT_EQ(element(grid.parray, {c, p}).value.vt, VT_EMPTY);
        }
    }
    VariantClear(&grid);
}

TEST_F(EarlyBound, NegativeOrOversizedPointCountIsOutOfMemory) {
    VARIANT grid;
    EXPECT_EQ(model->getConcentrationArray(0, 0, 0, 1, 1, 1, 2, -3, 1, &grid), E_OUTOFMEMORY);
    EXPECT_EQ(grid.vt, VT_ARRAY | VT_VARIANT);
    EXPECT_EQ(grid.parray, nullptr);
    // 65536 x 32768 is 2^31, negative as a 32-bit product.
    EXPECT_EQ(model->getConcentrationArray(0, 0, 0, 1, 1, 1, 65536, 32768, 1, &grid), E_OUTOFMEMORY);
    EXPECT_EQ(grid.parray, nullptr);
    // 65536 x 65536 wraps to 0 in 32 bits; that many points cannot be held either.
    EXPECT_EQ(model->getConcentrationArray(0, 0, 0, 1, 1, 1, 65536, 65536, 1, &grid), E_OUTOFMEMORY);
    VariantClear(&grid);
}

TEST_F(EarlyBound, ResultAccessorsReadTheLastRun) {
    setValidRelease();
    ASSERT_EQ(model->put_stackLocationX(3), S_OK);
    ASSERT_EQ(model->put_stackLocationY(-4), S_OK);
    VARIANT_BOOL ran = 0;
    ASSERT_EQ(model->runModel(&ran), S_OK);
    double value = -1;
    EXPECT_EQ(model->get_arclength(0, &value), S_OK);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(model->get_centrelineLocation(1, 0, &value), S_OK);
    EXPECT_EQ(value, 3.0);
    EXPECT_EQ(model->get_centrelineLocation(2, 0, &value), S_OK);
    EXPECT_EQ(value, -4.0);
    EXPECT_EQ(model->get_centrelineLocation(3, 0, &value), S_OK);
    EXPECT_EQ(value, 10.0);
    // Changing an input afterwards leaves the results alone.
    ASSERT_EQ(model->put_stackHeight(99), S_OK);
    EXPECT_EQ(model->get_centrelineLocation(3, 0, &value), S_OK);
    EXPECT_EQ(value, 10.0);
}
