// A scripting host's session written against the dispatch interface only: class object, object, inputs
// by name in variants of other types, run, results, messages and the concentration grid.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/platform/ModuleLockCount.hpp"

#include <regex>

using namespace ostreljet::component::test;

namespace {

std::string text(const Var &v) {
    EXPECT_EQ(v.value.vt, VT_BSTR);
    return v.value.vt == VT_BSTR ? bstrToUtf8(v.value.bstrVal) : std::string();
}

} // namespace

TEST(LateBoundSession, InputsGivenAsOtherTypesAreCoercedAndStored) {
    IDispatch *object = createModel();
    ASSERT_NE(object, nullptr);
    const DispatchClient client(object);

    // Strings, integers and booleans all reach double and enumeration properties.
    EXPECT_EQ(client.put(u"stackHeight", Var(u"10")), S_OK);
    EXPECT_EQ(client.put(u"put_orificeDiameter", Var(u" 0.2 ")), S_OK);
    EXPECT_EQ(client.put(u"RELEASEANGLE", Var(90)), S_OK);
    EXPECT_EQ(client.put(u"massFlowrate", Var(static_cast<short>(1))), S_OK);
    EXPECT_EQ(client.put(u"sourceSpecificHeat", Var(u"2,200")), S_OK);
    EXPECT_EQ(client.put(u"stoppingConcentration", Var(u"1E-2")), S_OK);
    EXPECT_EQ(client.put(u"timeAveraging", Var(true)), S_OK);
    EXPECT_EQ(client.put(u"pasquillStability", Var(4.5)), S_OK); // rounds half to even

    Var height = client.get(u"stackHeight");
    EXPECT_EQ(height.value.vt, VT_R8);
    EXPECT_EQ(height.value.dblVal, 10.0);
    EXPECT_EQ(client.get(u"get_orificeDiameter").value.dblVal, 0.2);
    EXPECT_EQ(client.get(u"releaseAngle").value.dblVal, 90.0);
    EXPECT_EQ(client.get(u"massFlowrate").value.dblVal, 1.0);
    EXPECT_EQ(client.get(u"sourceSpecificHeat").value.dblVal, 2200.0);
    EXPECT_EQ(client.get(u"stoppingConcentration").value.dblVal, 0.01);

    // Enumerations come back as 32-bit integers; a true boolean is -1, stored unchecked.
    Var averaging = client.get(u"timeAveraging");
    EXPECT_EQ(averaging.value.vt, VT_I4);
    EXPECT_EQ(averaging.value.lVal, -1);
    Var stability = client.get(u"pasquillStability");
    EXPECT_EQ(stability.value.vt, VT_I4);
    EXPECT_EQ(stability.value.lVal, 4);

    object->Release();
}

TEST(LateBoundSession, DefaultsOfANewObject) {
    IDispatch *object = createModel();
    ASSERT_NE(object, nullptr);
    const DispatchClient client(object);
    EXPECT_EQ(client.get(u"dischargeCoefficient").value.dblVal, 1.0);
    EXPECT_EQ(client.get(u"atmosphereMolecularWeight").value.dblVal, 0.02896);
    EXPECT_EQ(client.get(u"atmospherePressure").value.dblVal, 101325.0);
    EXPECT_EQ(client.get(u"atmosphereTemperature").value.dblVal, 288.15);
    EXPECT_EQ(client.get(u"atmosphereSpecificHeat").value.dblVal, 0.0);
    EXPECT_EQ(client.get(u"referenceWindHeight").value.dblVal, 10.0);
    EXPECT_EQ(client.get(u"referenceWindSpeed").value.dblVal, 5.0);
    EXPECT_EQ(client.get(u"referenceWindBearing").value.dblVal, 90.0);
    EXPECT_EQ(client.get(u"pasquillStability").value.lVal, 3);
    EXPECT_EQ(client.get(u"timeAveraging").value.lVal, 0);
    EXPECT_EQ(client.get(u"messageCount").value.lVal, 0);
    EXPECT_EQ(client.call(u"numberOfOutputSteps").value.lVal, 0);

    // A run without inputs fails validation at the orifice diameter: false, one message.
    Var ran = client.call(u"runModel");
    EXPECT_EQ(ran.value.vt, VT_BOOL);
    EXPECT_EQ(ran.value.boolVal, 0);
    Var messages = client.call(u"getErrorMessages");
    ASSERT_EQ(messages.value.vt, VT_ARRAY | VT_VARIANT);
    ASSERT_EQ(elementCount(messages.value.parray, 1), 1);
    EXPECT_EQ(text(element(messages.value.parray, {0})),
              "The orifice diameter should lie between 0 and 100m.");
    object->Release();
}

TEST(LateBoundSession, ValidReleaseRunsAndReportsItsResults) {
    const LONG objectsBefore = ModuleLockCount::objectCount();
    IDispatch *object = createModel();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ModuleLockCount::objectCount(), objectsBefore + 1);
    const DispatchClient client(object);
    UINT typeInfoCount = 0;
    EXPECT_EQ(object->GetTypeInfoCount(&typeInfoCount), S_OK);
    EXPECT_EQ(typeInfoCount, 1u);

    putValidRelease(client);
    EXPECT_EQ(client.put(u"stackLocationX", Var(u"-25")), S_OK);
    EXPECT_EQ(client.put(u"stackLocationY", Var(40)), S_OK);

    // The run answers a boolean variant holding 1, not the platform's all-bits-set true.
    Var ran = client.call(u"runModel");
    ASSERT_EQ(ran.value.vt, VT_BOOL);
    EXPECT_EQ(ran.value.boolVal, 1);

    Var steps = client.call(u"numberOfOutputSteps");
    ASSERT_EQ(steps.value.vt, VT_I4);
    ASSERT_GT(steps.value.lVal, 2);
    const LONG last = steps.value.lVal - 1;

    // The first output step is the orifice: arc length 0 at the stack top.
    EXPECT_EQ(client.get(u"arclength", {Var(0)}).value.dblVal, 0.0);
    EXPECT_EQ(client.get(u"centrelineLocation", {Var(1), Var(0)}).value.dblVal, -25.0);
    EXPECT_EQ(client.get(u"centrelineLocation", {Var(u"2"), Var(u"0")}).value.dblVal, 40.0);
    EXPECT_EQ(client.get(u"get_centrelineLocation", {Var(3.0), Var(false)}).value.dblVal, 10.0);
    EXPECT_GT(client.get(u"arclength", {Var(last)}).value.dblVal, 0.0);
    Var radius = client.get(u"profileRadius", {Var(0)});
    EXPECT_EQ(radius.value.vt, VT_R8);
    EXPECT_GT(radius.value.dblVal, 0.0);
    EXPECT_GT(client.get(u"centrelineTemperature", {Var(0)}).value.dblVal, 0.0);
    EXPECT_GT(client.get(u"centrelineVelocity", {Var(0)}).value.dblVal, 0.0);
    // The run stops where the centreline concentration falls to the stopping concentration.
    const double lastConcentration = client.get(u"centrelineConcentration", {Var(last)}).value.dblVal;
    EXPECT_NEAR(lastConcentration, 0.01, 1e-6);

    // The messages as a one-dimensional array of strings, the count equal to messageCount.
    Var count = client.get(u"messageCount");
    ASSERT_EQ(count.value.vt, VT_I4);
    Var messages = client.call(u"getErrorMessages");
    ASSERT_EQ(messages.value.vt, VT_ARRAY | VT_VARIANT);
    ASSERT_EQ(SafeArrayGetDim(messages.value.parray), 1u);
    ASSERT_EQ(elementCount(messages.value.parray, 1), count.value.lVal);
    const std::string final = text(element(messages.value.parray, {count.value.lVal - 1}));
    EXPECT_TRUE(std::regex_match(final, std::regex(R"(Stopping concentration reached at [0-9]+\.[0-9] m\.)")))
        << final;

    Var version = client.get(u"versionInfo");
    EXPECT_EQ(text(version), "1.1.0.0");

    object->Release();
    EXPECT_EQ(ModuleLockCount::objectCount(), objectsBefore);
}

TEST(LateBoundSession, ConcentrationGridIsFourByNInPointOrderWithAsymmetricAxes) {
    IDispatch *object = createModel();
    ASSERT_NE(object, nullptr);
    const DispatchClient client(object);
    putValidRelease(client);
    ASSERT_EQ(client.call(u"runModel").value.boolVal, 1);

    // 3 x 3 x 2 points over [0, 100] on every axis: x reaches its end, y and z stop one step short.
    Var grid = client.call(u"getConcentrationArray", {Var(0.0), Var(0.0), Var(0.0), Var(100.0), Var(u"100"),
                                                      Var(100), Var(3), Var(u"3"), Var(2.0)});
    ASSERT_EQ(grid.value.vt, VT_ARRAY | VT_VARIANT);
    SAFEARRAY *array = grid.value.parray;
    ASSERT_EQ(SafeArrayGetDim(array), 2u);
    ASSERT_EQ(elementCount(array, 1), 4);
    ASSERT_EQ(elementCount(array, 2), 18);

    const double xs[] = {0.0, 50.0, 100.0};
    const double ys[] = {0.0, 100.0 / 3.0, 200.0 / 3.0};
    const double zs[] = {0.0, 50.0};
    LONG p = 0;
    for (const double x : xs) {
        for (const double y : ys) {
            for (const double z : zs) {
                for (LONG c = 0; c < 4; ++c) {
                    EXPECT_EQ(element(array, {c, p}).value.vt, VT_R8) << "element (" << c << ", " << p << ")";
                }
                EXPECT_EQ(element(array, {0, p}).value.dblVal, x) << "point " << p;
                EXPECT_DOUBLE_EQ(element(array, {1, p}).value.dblVal, y) << "point " << p;
                EXPECT_EQ(element(array, {2, p}).value.dblVal, z) << "point " << p;
                Var single = client.call(u"getConcentration", {Var(x), Var(y), Var(z)});
                EXPECT_EQ(single.value.vt, VT_R8);
                EXPECT_EQ(element(array, {3, p}).value.dblVal, single.value.dblVal) << "point " << p;
                ++p;
            }
        }
    }

    // The storage is column-major: the four values of one point are adjacent.
    void *data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    const VARIANT *elements = static_cast<const VARIANT *>(data);
    EXPECT_EQ(elements[4 * 5 + 0].dblVal, 0.0);  // point 5: x0, y2, z1
    EXPECT_EQ(elements[4 * 5 + 2].dblVal, 50.0); // its z
    EXPECT_EQ(elements[4 * 6 + 0].dblVal, 50.0); // point 6 starts x1
    EXPECT_DOUBLE_EQ(elements[4 * 5 + 1].dblVal, 200.0 / 3.0);
    SafeArrayUnaccessData(array);

    object->Release();
}

TEST(LateBoundSession, ConcentrationAtTheSourceIsTheCentrelineConcentration) {
    IDispatch *object = createModel();
    ASSERT_NE(object, nullptr);
    const DispatchClient client(object);
    putValidRelease(client);
    ASSERT_EQ(client.call(u"runModel").value.boolVal, 1);
    // A 1 x 1 x 1 grid is its start point and the single query's value.
    Var grid = client.call(u"getConcentrationArray", {Var(30.0), Var(-5.0), Var(12.0), Var(0.0), Var(0.0),
                                                      Var(0.0), Var(1), Var(1), Var(1)});
    ASSERT_EQ(grid.value.vt, VT_ARRAY | VT_VARIANT);
    ASSERT_EQ(elementCount(grid.value.parray, 2), 1);
    EXPECT_EQ(element(grid.value.parray, {0, 0}).value.dblVal, 30.0);
    EXPECT_EQ(element(grid.value.parray, {1, 0}).value.dblVal, -5.0);
    EXPECT_EQ(element(grid.value.parray, {2, 0}).value.dblVal, 12.0);
    EXPECT_EQ(element(grid.value.parray, {3, 0}).value.dblVal,
              client.call(u"getConcentration", {Var(30.0), Var(-5.0), Var(12.0)}).value.dblVal);
    object->Release();
}
