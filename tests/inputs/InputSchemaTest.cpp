#include "ostreljet/inputs/InputSchema.hpp"

#include "jet/JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>

using ostreljet::InputSchema;
using ostreljet::JetModel;

TEST(InputSchema, ListsTheInterfaceInputsInOrderWithUniqueNamesAndDispatchIdentifiers) {
    const auto inputs = InputSchema::inputs();
    ASSERT_EQ(inputs.size(), 23u);
    EXPECT_EQ(inputs.front().name, "stackHeight");
    EXPECT_EQ(inputs.back().name, "stackBearing");
    EXPECT_EQ(inputs.back().dispid, 25);
    std::set<std::string_view> names;
    std::set<std::int32_t> dispids;
    for (const InputSchema::Input &input : inputs) {
        names.insert(input.name);
        dispids.insert(input.dispid);
        EXPECT_FALSE(input.unit.empty()) << input.name;
        EXPECT_FALSE(input.meaning.empty()) << input.name;
        EXPECT_EQ(InputSchema::find(input.name), &input);
        EXPECT_EQ(InputSchema::findByDispid(input.dispid), &input);
        EXPECT_EQ(input.enumeration != nullptr, input.type != InputSchema::Type::Double) << input.name;
    }
    EXPECT_EQ(names.size(), 23u);
    // Identifiers 1 to 23 and 25, without 2 (unassigned) and 24 (runModel).
    EXPECT_EQ(dispids.count(2), 0u);
    EXPECT_EQ(dispids.count(24), 0u);
    EXPECT_EQ(*dispids.begin(), 1);
    EXPECT_EQ(InputSchema::find("StackHeight"), nullptr);
    EXPECT_EQ(InputSchema::findByDispid(24), nullptr);
}

TEST(InputSchema, DefaultsAreWhatANewModelHolds) {
    const JetModel model;
    for (const InputSchema::Input &input : InputSchema::inputs()) {
        EXPECT_EQ(input.get(model), input.defaultValue) << input.name;
    }
    EXPECT_EQ(InputSchema::find("atmospherePressure")->defaultValue, 101325.0);
    EXPECT_EQ(InputSchema::find("pasquillStability")->defaultValue, 3.0);
}

TEST(InputSchema, EnumerationsCarryTheirLabelsAndMemberNames) {
    const InputSchema::Input &stability = *InputSchema::find("pasquillStability");
    ASSERT_NE(stability.enumeration, nullptr);
    EXPECT_EQ(stability.enumeration->name, "PASQUILL");
    ASSERT_EQ(stability.enumeration->labels.size(), 6u);
    EXPECT_EQ(InputSchema::labelValue(stability, "F"), 5);
    EXPECT_EQ(InputSchema::labelValue(stability, "PASQUILL_C"), 2);
    EXPECT_EQ(InputSchema::labelValue(stability, "f"), std::nullopt);
    EXPECT_EQ(InputSchema::labelOf(stability, 3.0), "D");
    EXPECT_EQ(InputSchema::labelOf(stability, 6.0), "");
    const InputSchema::Input &averaging = *InputSchema::find("timeAveraging");
    EXPECT_EQ(averaging.enumeration->name, "TIME_AVERAGING");
    EXPECT_EQ(InputSchema::labelValue(averaging, "long"), 1);
    EXPECT_EQ(InputSchema::labelValue(averaging, "SHORT_TIME_AVERAGING"), 0);
    EXPECT_EQ(InputSchema::labelValue(*InputSchema::find("stackHeight"), "A"), std::nullopt);
    EXPECT_FALSE(stability.range.bounded());
    EXPECT_TRUE(stability.range.contains(-7.0));
}

TEST(InputSchema, RangeContainsFollowsInclusiveness) {
    const InputSchema::Range &diameter = InputSchema::find("orificeDiameter")->range;
    EXPECT_FALSE(diameter.contains(0.0));
    EXPECT_TRUE(diameter.contains(100.0));
    EXPECT_FALSE(diameter.contains(std::nextafter(100.0, 200.0)));
    const InputSchema::Range &flow = InputSchema::find("massFlowrate")->range;
    EXPECT_TRUE(std::isinf(flow.upper));
    EXPECT_TRUE(flow.contains(1e300));
    EXPECT_FALSE(flow.contains(-1e-300));
    // NaN passes validation, so no range refuses it.
    EXPECT_TRUE(diameter.contains(std::numeric_limits<double>::quiet_NaN()));
}

// Each finite bound of a range is accepted or refused by a run exactly as the schema says, and the next
// double beyond it is refused: the table and the run's validation agree. The air temperature is checked
// at the ground, where the profile has moved it from the reference value, so its bounds are not exact.
TEST(InputSchema, RangesAgreeWithTheRunsValidationAtEveryBound) {
    for (const InputSchema::Input &input : InputSchema::inputs()) {
        if (!input.range.bounded() || input.name == "atmosphereTemperature") {
            continue;
        }
        const auto runsWith = [&input](double value) {
            JetModel model;
            ostreljet::testing::setValidRelease(model);
            model.setAtmosphereTemperature(288.15);
            input.put(model, value);
            return model.runModel();
        };
        const InputSchema::Range &range = input.range;
        if (std::isfinite(range.lower)) {
            EXPECT_EQ(runsWith(range.lower), range.lowerInclusive) << input.name << " at " << range.lower;
            EXPECT_FALSE(runsWith(std::nextafter(range.lower, -INFINITY))) << input.name;
        }
        if (std::isfinite(range.upper)) {
            EXPECT_EQ(runsWith(range.upper), range.upperInclusive) << input.name << " at " << range.upper;
            EXPECT_FALSE(runsWith(std::nextafter(range.upper, INFINITY))) << input.name;
        }
    }
}
