/* The C API exercised from C, as a foreign host would use it. */
#include "ostreljet/Version.hpp"
#include "ostreljet/ostreljet.h"

#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

static int passed = 0, failed = 0;

static void check(int ok, int line, const char *text) {
    passed += ok;
    failed += !ok;
    if (!ok) {
        fprintf(stderr, "capi_test.c:%d: check failed: %s\n", line, text);
    }
}

#define CHECK(condition) check((condition) != 0, __LINE__, #condition)
#define LAST_ERROR_IS(text) (strcmp(ostreljet_last_error(), text) == 0)

static void test_names_defaults_and_failed_validation(void) {
    ostreljet_model *m = ostreljet_create();
    double value = -1.0;
    CHECK(m != NULL);
    unsigned major = 0, minor = 0, patch = 0, tweak = 0;
    /* The library reports the version its headers were generated with, as four numbers. */
    CHECK(strcmp(ostreljet_version(), OSTRELJET_VERSION_STRING) == 0);
    CHECK(sscanf(ostreljet_version(), "%u.%u.%u.%u", &major, &minor, &patch, &tweak) == 4 && major == 1);
    CHECK(ostreljet_get(m, "atmosphereTemperature", &value) == 0 && value == 288.15);
    CHECK(ostreljet_get(m, "dischargeCoefficient", &value) == 0 && value == 1.0);
    CHECK(ostreljet_get(m, "pasquillStability", &value) == 0 && value == 3.0);
    CHECK(ostreljet_get(m, "referenceWindBearing", &value) == 0 && value == 90.0);
    /* Names are case-sensitive and exact; the error names the name. */
    CHECK(ostreljet_set(m, "stackheight", 1.0) == -1 && LAST_ERROR_IS("unknown property \"stackheight\""));
    CHECK(ostreljet_get(m, "stackHeight ", &value) == -1 &&
          LAST_ERROR_IS("unknown property \"stackHeight \""));
    /* Enumerations take whole numbers in their range only; a refused value leaves the old one. */
    CHECK(ostreljet_set(m, "pasquillStability", 2.5) == -2);
    CHECK(LAST_ERROR_IS("property \"pasquillStability\" takes a whole number from 0 to 5, not 2.5"));
    CHECK(ostreljet_set(m, "timeAveraging", NAN) == -2);
    CHECK(ostreljet_set(m, "pasquillStability", 6.0) == -2 &&
          ostreljet_set(m, "pasquillStability", -1.0) == -2);
    CHECK(ostreljet_set(m, "timeAveraging", 2.0) == -2);
    CHECK(LAST_ERROR_IS("property \"timeAveraging\" takes a whole number from 0 to 1, not 2"));
    CHECK(ostreljet_set(m, "pasquillStability", 5.0) == 0 && ostreljet_set(m, "timeAveraging", 1.0) == 0);
    CHECK(ostreljet_get(m, "pasquillStability", &value) == 0 && value == 5.0);
    CHECK(ostreljet_set(NULL, "stackHeight", 1.0) == -2);
    /* The orifice diameter, still at its default, fails validation. */
    CHECK(ostreljet_run(m) == 0);
    CHECK(ostreljet_step_count(m) == 0 && ostreljet_message_count(m) == 1);
    CHECK(strcmp(ostreljet_message(m, 0), "The orifice diameter should lie between 0 and 100m.") == 0);
    CHECK(ostreljet_message(m, 1) == NULL && ostreljet_message(m, INT_MAX) == NULL);
    CHECK(ostreljet_message(m, -1) == NULL && ostreljet_message(m, INT_MIN) == NULL);
    CHECK(ostreljet_series(m, "arclength", &value, 1) == 0 && value == 5.0);
    CHECK(ostreljet_series(m, "X", &value, 1) == -1 && LAST_ERROR_IS("unknown series \"X\""));
    CHECK(ostreljet_concentration(m, 1.0, 2.0, 3.0) == 0.0);
    ostreljet_destroy(m);
    ostreljet_destroy(NULL);
}

/* The input properties described: names in interface order, units, meanings, defaults, the ranges
 * that validation enforces and the labels of the enumerations. */
static void test_property_descriptions(void) {
    double lower = 0.0, upper = 0.0, value = -1.0;
    int lower_inclusive = -1, upper_inclusive = -1, i, doubles = 0;
    CHECK(OSTRELJET_OK == 0 && OSTRELJET_UNKNOWN_NAME == -1 && OSTRELJET_INVALID_ARGUMENT == -2 &&
          OSTRELJET_INTERNAL_ERROR == -3);
    CHECK(ostreljet_property_count() == 23);
    CHECK(strcmp(ostreljet_property_name(0), "stackHeight") == 0);
    CHECK(strcmp(ostreljet_property_name(1), "orificeDiameter") == 0);
    CHECK(strcmp(ostreljet_property_name(22), "stackBearing") == 0);
    CHECK(ostreljet_property_name(23) == NULL && LAST_ERROR_IS("property index 23 is outside 0..22"));
    CHECK(ostreljet_property_name(-1) == NULL);
    for (i = 0; i < ostreljet_property_count(); ++i) {
        const char *name = ostreljet_property_name(i);
        doubles += strcmp(ostreljet_property_type(name), "double") == 0;
        CHECK(ostreljet_property_unit(name) != NULL && ostreljet_property_description(name)[0] != '\0');
    }
    CHECK(doubles == 21);
    CHECK(strcmp(ostreljet_property_unit("massFlowrate"), "kg/s") == 0);
    CHECK(strcmp(ostreljet_property_unit("sourceSpecificHeat"), "J/(kg K)") == 0);
    CHECK(strcmp(ostreljet_property_unit("stackBearing"), "degree") == 0);
    CHECK(strcmp(ostreljet_property_description("orificeDiameter"), "diameter of the orifice") == 0);
    CHECK(ostreljet_property_unit("diameter") == NULL && LAST_ERROR_IS("unknown property \"diameter\""));
    CHECK(ostreljet_property_description(NULL) == NULL);
    CHECK(ostreljet_property_default("atmospherePressure", &value) == OSTRELJET_OK && value == 101325.0);
    CHECK(ostreljet_property_default("atmosphereMolecularWeight", &value) == 0 && value == 0.02896);
    CHECK(ostreljet_property_default("pasquillStability", &value) == 0 && value == 3.0);
    CHECK(ostreljet_property_default("nothing", &value) == OSTRELJET_UNKNOWN_NAME);
    CHECK(ostreljet_property_default("stackHeight", NULL) == OSTRELJET_INVALID_ARGUMENT);
    /* Closed, half-open and open ranges, one-sided and none. */
    CHECK(ostreljet_property_range("stackHeight", &lower, &upper, &lower_inclusive, &upper_inclusive) == 0);
    CHECK(lower == 0.0 && upper == 1000.0 && lower_inclusive == 1 && upper_inclusive == 1);
    CHECK(ostreljet_property_range("sourceSpecificHeatRatio", &lower, &upper, &lower_inclusive,
                                   &upper_inclusive) == 0);
    CHECK(lower == 1.0 && upper == 1.7 && lower_inclusive == 0 && upper_inclusive == 1);
    CHECK(ostreljet_property_range("stoppingConcentration", &lower, &upper, &lower_inclusive,
                                   &upper_inclusive) == 0);
    CHECK(lower == 0.0 && upper == 1.0 && lower_inclusive == 0 && upper_inclusive == 0);
    CHECK(ostreljet_property_range("stackLocationY", &lower, &upper, NULL, NULL) == 0);
    CHECK(lower == -1000000.0 && upper == 1000000.0);
    CHECK(ostreljet_property_range("massFlowrate", &lower, &upper, &lower_inclusive, NULL) == 0);
    CHECK(lower == 0.0 && lower_inclusive == 0 && isinf(upper) && upper > 0);
    CHECK(ostreljet_property_range("timeAveraging", &lower, &upper, NULL, NULL) == 0);
    CHECK(isinf(lower) && lower < 0 && isinf(upper) && upper > 0);
    CHECK(ostreljet_property_range("Stackheight", &lower, NULL, NULL, NULL) == OSTRELJET_UNKNOWN_NAME);
    /* Enumerations: their type names, labels and members; a double has none. */
    CHECK(strcmp(ostreljet_property_type("pasquillStability"), "PASQUILL") == 0);
    CHECK(strcmp(ostreljet_property_type("timeAveraging"), "TIME_AVERAGING") == 0);
    CHECK(ostreljet_property_type("x") == NULL);
    CHECK(ostreljet_property_label_count("pasquillStability") == 6);
    CHECK(ostreljet_property_label_count("timeAveraging") == 2);
    CHECK(ostreljet_property_label_count("stackHeight") == 0);
    CHECK(ostreljet_property_label_count("x") == OSTRELJET_UNKNOWN_NAME);
    CHECK(strcmp(ostreljet_property_label("pasquillStability", 0), "A") == 0);
    CHECK(strcmp(ostreljet_property_label("pasquillStability", 5), "F") == 0);
    CHECK(strcmp(ostreljet_property_member("pasquillStability", 3), "PASQUILL_D") == 0);
    CHECK(strcmp(ostreljet_property_label("timeAveraging", 1), "long") == 0);
    CHECK(strcmp(ostreljet_property_member("timeAveraging", 0), "SHORT_TIME_AVERAGING") == 0);
    CHECK(ostreljet_property_label("pasquillStability", 6) == NULL &&
          LAST_ERROR_IS("property \"pasquillStability\" has no value 6"));
    CHECK(ostreljet_property_label("stackHeight", 0) == NULL);
}

static void test_run_and_queries(void) {
    const char *path = "ostreljet_capi_test_vent.json";
    FILE *file = fopen(path, "w");
    ostreljet_model *m = ostreljet_create();
    static double x[10002]; /* zero: untouched */
    double grid[10] = {-5, -5, -5, -5, -5, -5, -5, -5, -5, -5};
    int steps;
    if (file != NULL) {
        fputs("{\"stackHeight\": 10, \"orificeDiameter\": 0.2, \"releaseAngle\": 90, \"massFlowrate\": 1, "
              "\"sourceMolecularWeight\": 0.016, \"sourceSpecificHeat\": 2200, \"sourceTemperature\": 300, "
              "\"sourceSpecificHeatRatio\": 1.3, \"atmosphereSurfaceRoughness\": 0.1, "
              "\"atmosphereSpecificHeat\": 1005, \"stoppingConcentration\": 0.01}",
              file);
        fclose(file);
    }
    CHECK(ostreljet_load_scenario(m, path) == 0);
    remove(path);
    CHECK(ostreljet_run(m) == 1);
    steps = ostreljet_step_count(m);
    CHECK(steps > 2 && steps <= 10001);
    /* The series are copied up to the capacity, never beyond. */
    CHECK(ostreljet_series(m, "z", x, 3) == 3 && x[0] == 10.0 && x[3] == 0.0);
    CHECK(ostreljet_series(m, "arclength", x, INT_MAX) == steps && x[0] == 0.0 && x[steps] == 0.0);
    CHECK(ostreljet_series(m, "x", x, -1) == -2 && ostreljet_series(m, "x", x, INT_MIN) == -2);
    CHECK(LAST_ERROR_IS("negative capacity or null output array"));
    CHECK(strncmp(ostreljet_message(m, ostreljet_message_count(m) - 1), "Stopping concentration reached at ",
                  34) == 0);
    /* Near the source on the axis, and on a grid along it, is the source gas itself. */
    CHECK(fabs(ostreljet_concentration(m, 0.0, 0.0, 10.0) - 1.0) < 1e-12);
    CHECK(ostreljet_concentration_grid(m, 0, 0, 10, 0, 0, 20, 1, 1, 9, grid, 10) == 9);
    CHECK(fabs(grid[0] - 1.0) < 1e-12 && grid[9] == -5.0);
    ostreljet_destroy(m);
}

int main(void) {
    test_names_defaults_and_failed_validation();
    test_property_descriptions();
    test_run_and_queries();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
