// A scripting host's session through the dispatch interface only: inputs, run, results, messages, grid.
#include "component/ComponentTestSupport.hpp"

#include <regex>

using namespace ostreljet::component::test;

using LateBoundSession = ModelTest;

TEST_F(LateBoundSession, DefaultsAndInputsGivenAsOtherTypesAreCoerced) {
    // Every default is the schema tests'; one of each type through the interface.
    EXPECT_EQ(client.get(u"atmospherePressure").value.dblVal, 101325.0);
    EXPECT_EQ(client.get(u"pasquillStability").value.lVal, 3);
    // A run without inputs fails validation at the orifice diameter: false, one message.
    Var ran = client.call(u"runModel");
    EXPECT_EQ(ran.value.vt, VT_BOOL);
    EXPECT_EQ(ran.value.boolVal, 0);
    Var messages = client.call(u"getErrorMessages");
    ASSERT_EQ(messages.value.vt, VT_ARRAY | VT_VARIANT);
    ASSERT_EQ(elementCount(messages.value.parray, 1), 1);
    EXPECT_EQ(text(element(messages.value.parray, {0})),
              "The orifice diameter should lie between 0 and 100m.");
    // Strings, integers and booleans all reach double and enumeration properties.
    EXPECT_EQ(client.put(u"stackHeight", Var(u"10")), S_OK);
    EXPECT_EQ(client.put(u"put_orificeDiameter", Var(u" 0.2 ")), S_OK);
    EXPECT_EQ(client.put(u"RELEASEANGLE", Var(90)), S_OK);
    EXPECT_EQ(client.put(u"massFlowrate", Var(static_cast<short>(1))), S_OK);
    EXPECT_EQ(client.put(u"sourceSpecificHeat", Var(u"2,200")), S_OK);
    EXPECT_EQ(client.put(u"stoppingConcentration", Var(u"1E-2")), S_OK);
    EXPECT_EQ(client.put(u"timeAveraging", Var(true)), S_OK);
    EXPECT_EQ(client.put(u"pasquillStability", Var(4.5)), S_OK); // rounds half to even
    const char16_t *inputs[] = {u"stackHeight",  u"get_orificeDiameter", u"releaseAngle",
                                u"massFlowrate", u"sourceSpecificHeat",  u"stoppingConcentration"};
    const double stored[] = {10.0, 0.2, 90.0, 1.0, 2200.0, 0.01};
    for (int i = 0; i < 6; ++i) {
        Var value = client.get(inputs[i]);
        EXPECT_EQ(value.value.vt, VT_R8);
        EXPECT_EQ(value.value.dblVal, stored[i]) << wideToUtf8(inputs[i]);
    }
    // Enumerations come back as 32-bit integers; a true boolean is -1, stored unchecked.
    Var averaging = client.get(u"timeAveraging");
    EXPECT_EQ(averaging.value.vt, VT_I4);
    EXPECT_EQ(averaging.value.lVal, -1);
    Var stability = client.get(u"pasquillStability");
    EXPECT_EQ(stability.value.vt, VT_I4);
    EXPECT_EQ(stability.value.lVal, 4);
}

TEST_F(LateBoundSession, ValidReleaseRunsAndReportsItsResults) {
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
    // The run stops where the centreline concentration falls to the stopping concentration.
    EXPECT_NEAR(client.get(u"centrelineConcentration", {Var(last)}).value.dblVal, 0.01, 1e-6);
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
    EXPECT_EQ(text(client.get(u"versionInfo")), "1.1.0.0");
}

TEST_F(LateBoundSession, ConcentrationGridIsFourByNInPointOrderWithAsymmetricAxes) {
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
    LONG p = 0;
    for (const double x : {0.0, 50.0, 100.0}) {
        for (const double y : {0.0, 100.0 / 3.0, 200.0 / 3.0}) {
            for (const double z : {0.0, 50.0}) {
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
    // Two negative counts make a positive N: N elements, none evaluated or stored.
    Var signs = client.call(u"getConcentrationArray", {Var(0.0), Var(0.0), Var(0.0), Var(1.0), Var(1.0),
                                                       Var(1.0), Var(-2), Var(-3), Var(1)});
    ASSERT_EQ(elementCount(signs.value.parray, 2), 6);
    for (LONG q = 0; q < 6; ++q) {
        EXPECT_EQ(element(signs.value.parray, {3, q}).value.vt, VT_EMPTY);
    }
}
