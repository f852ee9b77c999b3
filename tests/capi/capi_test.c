/* The C API exercised from C, as a foreign host would use it. */
#define _POSIX_C_SOURCE 200809L /* dup and dup2, to read what the library prints */

#include "ostreljet/Version.hpp"
#include "ostreljet/ostreljet.h"

#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

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
    CHECK(ostreljet_get(m, "pasquillStability", &value) == 0 && value == 3.0);
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
    CHECK(strcmp(ostreljet_message(m, 0),
                 "The orifice diameter should lie between 0 and 100m. (orificeDiameter = 0 m)") == 0);
    CHECK(ostreljet_status(m) == OSTRELJET_STATUS_INVALID &&
          strcmp(ostreljet_status_name(ostreljet_status(m)), "invalid") == 0);
    CHECK(ostreljet_message(m, 1) == NULL && ostreljet_message(m, INT_MAX) == NULL);
    CHECK(ostreljet_message(m, -1) == NULL && ostreljet_message(m, INT_MIN) == NULL);
    CHECK(ostreljet_series(m, "arclength", &value, 1) == 0 && value == 5.0);
    CHECK(ostreljet_series(m, "X", &value, 1) == -1 && LAST_ERROR_IS("unknown series \"X\""));
    /* A run without results computed nothing: NaN, and the flag says so. */
    CHECK(isnan(ostreljet_concentration(m, 1.0, 2.0, 3.0)) && ostreljet_computed(m, 1.0, 2.0, 3.0) == 0);
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
    CHECK(strcmp(ostreljet_property_description("orificeDiameter"), "diameter of the orifice") == 0);
    CHECK(ostreljet_property_unit("diameter") == NULL && LAST_ERROR_IS("unknown property \"diameter\""));
    CHECK(ostreljet_property_description(NULL) == NULL);
    CHECK(ostreljet_property_default("atmospherePressure", &value) == OSTRELJET_OK && value == 101325.0);
    CHECK(ostreljet_property_default("nothing", &value) == OSTRELJET_UNKNOWN_NAME);
    CHECK(ostreljet_property_default("stackHeight", NULL) == OSTRELJET_INVALID_ARGUMENT);
    /* Closed and half-open ranges, one-sided and none; each flag is copied on its own. */
    CHECK(ostreljet_property_range("stackHeight", &lower, &upper, &lower_inclusive, &upper_inclusive) == 0);
    CHECK(lower == 0.0 && upper == 1000.0 && lower_inclusive == 1 && upper_inclusive == 1);
    CHECK(ostreljet_property_range("sourceSpecificHeatRatio", &lower, &upper, &lower_inclusive,
                                   &upper_inclusive) == 0);
    CHECK(lower == 1.0 && upper == 1.7 && lower_inclusive == 0 && upper_inclusive == 1);
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
    CHECK(ostreljet_property_label_count("stackHeight") == 0);
    CHECK(ostreljet_property_label_count("x") == OSTRELJET_UNKNOWN_NAME);
    CHECK(strcmp(ostreljet_property_label("pasquillStability", 0), "A") == 0);
    CHECK(strcmp(ostreljet_property_member("pasquillStability", 3), "PASQUILL_D") == 0);
    CHECK(strcmp(ostreljet_property_label("timeAveraging", 1), "long") == 0);
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

/* The vent of the examples (methane through 0.3 m at 2 kg/s, 20 m up, wind 5 m/s towards +x). */
static ostreljet_model *methane_vent(void) {
    ostreljet_model *m = ostreljet_create();
    CHECK(ostreljet_set_gas(m, "Methane") == 0);
    CHECK(strcmp(ostreljet_gas(m), "methane") == 0);
    CHECK(ostreljet_set(m, "stackHeight", 20.0) == 0 && ostreljet_set(m, "orificeDiameter", 0.3) == 0);
    CHECK(ostreljet_set(m, "releaseAngle", 90.0) == 0 && ostreljet_set(m, "massFlowrate", 2.0) == 0);
    CHECK(ostreljet_set(m, "sourceTemperature", 300.0) == 0);
    CHECK(ostreljet_set(m, "atmosphereSpecificHeat", 1005.0) == 0);
    CHECK(ostreljet_set(m, "atmosphereSurfaceRoughness", 0.1) == 0);
    CHECK(ostreljet_set(m, "stoppingConcentration", 0.01) == 0);
    return m;
}

/* The gas fills the source properties as a scenario's "gas" key; the summary's levels are read in any
 * unit and answered in the chosen one, the distances the same whichever unit a level was written in. */
static void test_gas_summary_and_units(void) {
    ostreljet_model *m = methane_vent();
    double value = 0.0, z[10001], c[10001], x[10001], expected = NAN;
    int steps, i;
    CHECK(ostreljet_get(m, "sourceMolecularWeight", &value) == 0 && value == 0.016043);
    CHECK(ostreljet_get(m, "sourceSpecificHeatRatio", &value) == 0 && value == 1.304);
    CHECK(ostreljet_set_gas(m, "kryptonite") == OSTRELJET_UNKNOWN_NAME);
    CHECK(strncmp(ostreljet_last_error(), "unknown gas \"kryptonite\" (known: methane, ethane,", 47) == 0);
    CHECK(strcmp(ostreljet_gas(m), "methane") == 0);
    CHECK(ostreljet_gas_count() == 14 && strcmp(ostreljet_gas_name(2), "propane") == 0);
    CHECK(ostreljet_ending(m) == OSTRELJET_ENDING_NOT_RUN &&
          strcmp(ostreljet_ending_name(6), "not run") == 0);
    CHECK(ostreljet_summary_figure(m, "groundMaximum") != ostreljet_summary_figure(m, "groundMaximum"));
    CHECK(LAST_ERROR_IS("the model has no summary: call ostreljet_summarize first"));

    CHECK(ostreljet_run(m) == 1);
    CHECK(ostreljet_ending(m) == OSTRELJET_ENDING_STOPPING_CONCENTRATION);
    CHECK(strncmp(ostreljet_end_message(m), "Stopping concentration reached at ", 34) == 0);
    CHECK(ostreljet_message_severity(m, ostreljet_message_count(m) - 1) == OSTRELJET_INFORMATION);
    CHECK(strcmp(ostreljet_severity_name(OSTRELJET_WARNING), "warning") == 0);

    /* Defaults for a flammable gas: LFL and LFL/2, here in % by volume (methane's LFL is 5 %). */
    CHECK(ostreljet_summarize(m, NULL, "%") == 2);
    CHECK(strcmp(ostreljet_summary_unit(m), "%") == 0);
    CHECK(strcmp(ostreljet_summary_level_text(m, 0), "LFL") == 0);
    CHECK(strcmp(ostreljet_summary_level_text(m, 1), "LFL/2") == 0);
    CHECK(ostreljet_summary_level_figure(m, 0, "level") == 5.0);
    CHECK(ostreljet_summary_level_figure(m, 1, "level") == 2.5);
    CHECK(strcmp(ostreljet_summary_level_figure_unit(m, "level"), "%") == 0);
    CHECK(strcmp(ostreljet_summary_figure_unit(m, "groundMaximum"), "%") == 0);
    CHECK(strcmp(ostreljet_summary_figure_unit(m, "edgeReachesGroundDownwind"), "m") == 0);

    /* 2 % and 20000 ppm are the same level: the same distances, each level in its summary's unit. */
    CHECK(ostreljet_summarize(m, "2%", "%") == 1);
    {
        const double in_percent = ostreljet_summary_level_figure(m, 0, "centrelineDownwindDistance");
        const double extent = ostreljet_summary_level_figure(m, 0, "farthestDownwindExtent");
        const double ground_percent = ostreljet_summary_figure(m, "groundMaximum");
        CHECK(ostreljet_summarize(m, "20000ppm", "ppm") == 1);
        CHECK(ostreljet_summary_level_figure(m, 0, "level") == 20000.0);
        CHECK(ostreljet_summary_level_figure(m, 0, "centrelineDownwindDistance") == in_percent);
        CHECK(ostreljet_summary_level_figure(m, 0, "farthestDownwindExtent") == extent);
        /* This vent's jet never reaches the ground; the far field past it does: the same maximum in
         * either unit, on the far field's axis. */
        CHECK(fabs(ground_percent * 1e4 / ostreljet_summary_figure(m, "groundMaximum") - 1.0) < 1e-6);
        CHECK(ostreljet_summary_figure(m, "groundMaximumInFarField") == 1.0);
        CHECK(isnan(ostreljet_summary_figure(m, "greatestCentrelineHeight")) == 0);
        /* The centreline falls below 2 % between the two output steps that straddle it (downwind is +x). */
        steps = ostreljet_step_count(m);
        CHECK(ostreljet_series(m, "centrelineConcentration", c, 10001) == steps);
        CHECK(ostreljet_series(m, "x", x, 10001) == steps && ostreljet_series(m, "z", z, 10001) == steps);
        for (i = 1; i < steps; ++i) {
            if (c[i - 1] >= 0.02 && c[i] < 0.02) {
                expected = x[i - 1] + (0.02 - c[i - 1]) / (c[i] - c[i - 1]) * (x[i] - x[i - 1]);
                break;
            }
        }
        CHECK(fabs(in_percent - expected) < 1e-9 * expected);
    }
    /* The greatest centreline height is the highest output step; this vent never touches down. */
    CHECK(ostreljet_summarize(m, "LFL", "vol") == 1);
    value = 0.0;
    for (i = 0; i < steps; ++i) {
        value = z[i] > value ? z[i] : value;
    }
    CHECK(ostreljet_summary_figure(m, "greatestCentrelineHeight") == value);
    CHECK(isnan(ostreljet_summary_figure(m, "centrelineReachesGroundDownwind")));
    CHECK(isnan(ostreljet_summary_figure(m, "nonsense")) &&
          LAST_ERROR_IS("unknown summary figure \"nonsense\""));
    CHECK(isnan(ostreljet_summary_level_figure(m, 1, "level")) &&
          LAST_ERROR_IS("level index 1 out of range"));
    /* Refusals quote what they refuse; the kept summary stays. */
    CHECK(ostreljet_summarize(m, "IDLH", NULL) == OSTRELJET_INVALID_ARGUMENT);
    CHECK(strstr(ostreljet_last_error(), "IDLH") != NULL);
    CHECK(ostreljet_summarize(m, "2%", "furlongs") == OSTRELJET_INVALID_ARGUMENT);
    CHECK(LAST_ERROR_IS("unknown concentration unit \"furlongs\" (known: mass, vol, %, ppm, mg/m3)"));
    CHECK(ostreljet_summary_level_count(m) == 1 && ostreljet_summary_level_figure(m, 0, "level") == 0.05);

    /* Point and grid queries in a unit: the pure source gas at the orifice. */
    CHECK(fabs(ostreljet_concentration_unit(m, 0.0, 0.0, 20.0, "%") - 100.0) < 1e-9);
    CHECK(isnan(ostreljet_concentration_unit(m, 0.0, 0.0, 20.0, "ppb")));
    {
        double vol[4], ppm[4];
        CHECK(ostreljet_concentration_grid_unit(m, 0, 0, 20, 20, 0, 40, 2, 1, 2, vol, 4, "vol") == 4);
        CHECK(ostreljet_concentration_grid_unit(m, 0, 0, 20, 20, 0, 40, 2, 1, 2, ppm, 4, "ppm") == 4);
        for (i = 0; i < 4; ++i) {
            CHECK(ppm[i] == vol[i] * 1e6);
        }
    }
    ostreljet_destroy(m);

    /* 1 ppm of chlorine in air at 298.15 K and 101325 Pa: 1e-6 x 101325 x 0.070906 / (8.31434 x 298.15)
     * kg/m3 = 2.898 mg/m3. A threshold needs no run. */
    m = ostreljet_create();
    CHECK(ostreljet_set_gas(m, "chlorine") == 0 && ostreljet_set(m, "atmosphereTemperature", 298.15) == 0);
    CHECK(ostreljet_summarize(m, "1ppm,IDLH", "mg/m3") == 2);
    CHECK(fabs(ostreljet_summary_level_figure(m, 0, "level") - 2.898) < 0.0005);
    CHECK(fabs(ostreljet_summary_level_figure(m, 1, "level") - 28.98) < 0.005);
    CHECK(isnan(ostreljet_summary_level_figure(m, 0, "centrelineDownwindDistance")));
    ostreljet_destroy(m);
}

/* A run that the source checks refuse has run (1) but ended refused, with no results and its message. */
static void test_refused_run(void) {
    ostreljet_model *m = methane_vent();
    CHECK(ostreljet_set(m, "massFlowrate", 0.01) == 0);
    CHECK(ostreljet_run(m) == 1);
    CHECK(ostreljet_ending(m) == OSTRELJET_ENDING_REFUSED && ostreljet_step_count(m) == 0);
    CHECK(strcmp(ostreljet_ending_name(OSTRELJET_ENDING_REFUSED), "refused by the source checks") == 0);
    CHECK(
        strncmp(
            ostreljet_end_message(m),
            "The calculated exit velocity is less than three times the wind velocity, model not valid. (exit "
            "speed ",
            102) == 0);
    CHECK(ostreljet_status(m) == OSTRELJET_STATUS_REFUSED);
    CHECK(ostreljet_message_severity(m, 0) == OSTRELJET_ERROR);
    CHECK(ostreljet_summarize(m, NULL, NULL) == 2);
    CHECK(isnan(ostreljet_summary_figure(m, "greatestCentrelineHeight")));
    CHECK(isnan(ostreljet_summary_level_figure(m, 0, "farthestDownwindExtent")));
    /* Invalid inputs are a different ending. */
    CHECK(ostreljet_set(m, "orificeDiameter", 0.0) == 0 && ostreljet_run(m) == 0);
    CHECK(ostreljet_ending(m) == OSTRELJET_ENDING_INPUTS_INVALID);
    CHECK(strcmp(ostreljet_end_message(m),
                 "The orifice diameter should lie between 0 and 100m. (orificeDiameter = 0 m)") == 0);
    ostreljet_destroy(m);
}

/* Runs the dense release that leaves the once-only notice "The edge of the jet is interacting with the
 * ground at 13.0 m." and returns what the library printed on standard output. */
static void printed_by_dense_release(char *printed, size_t size) {
    const char *path = "ostreljet_capi_test_echo.txt";
    ostreljet_model *m = ostreljet_create();
    FILE *capture;
    size_t length;
    int saved;
    CHECK(ostreljet_set_gas(m, "carbon dioxide") == 0);
    CHECK(ostreljet_set(m, "stackHeight", 2.0) == 0 && ostreljet_set(m, "orificeDiameter", 0.1) == 0);
    CHECK(ostreljet_set(m, "stackBearing", 90.0) == 0 && ostreljet_set(m, "dischargeCoefficient", 0.85) == 0);
    CHECK(ostreljet_set(m, "massFlowrate", 1.5) == 0 && ostreljet_set(m, "sourceTemperature", 250.0) == 0);
    CHECK(ostreljet_set(m, "atmosphereSpecificHeat", 1005.0) == 0);
    CHECK(ostreljet_set(m, "atmosphereSurfaceRoughness", 0.03) == 0);
    CHECK(ostreljet_set(m, "referenceWindSpeed", 3.0) == 0 && ostreljet_set(m, "pasquillStability", 4) == 0);
    CHECK(ostreljet_set(m, "stoppingConcentration", 0.005) == 0);
    fflush(stdout);
    saved = dup(1);
    capture = fopen(path, "w+");
    CHECK(saved >= 0 && capture != NULL);
    dup2(fileno(capture), 1);
    CHECK(ostreljet_run(m) == 1);
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    rewind(capture);
    length = fread(printed, 1, size - 1, capture);
    printed[length] = '\0';
    fclose(capture);
    remove(path);
    CHECK(ostreljet_ending(m) == OSTRELJET_ENDING_ON_GROUND);
    /* It touches down: a ground maximum, the same point whichever unit it is given in. */
    CHECK(ostreljet_summarize(m, "1%", "vol") == 1);
    {
        const double vol = ostreljet_summary_figure(m, "groundMaximum");
        const double x = ostreljet_summary_figure(m, "groundMaximumX");
        CHECK(vol > 0.0 && vol < 1.0 && x > 0.0);
        CHECK(fabs(ostreljet_summary_figure(m, "edgeReachesGroundDownwind") - 13.0) < 0.1);
        CHECK(ostreljet_summarize(m, "1%", "ppm") == 1);
        CHECK(ostreljet_summary_figure(m, "groundMaximum") == vol * 1e6);
        CHECK(ostreljet_summary_figure(m, "groundMaximumX") == x);
    }
    CHECK(ostreljet_message_count(m) == 2 &&
          strcmp(ostreljet_message(m, 0), "The edge of the jet is interacting with the ground at 13.0 m.") ==
              0);
    ostreljet_destroy(m);
}

/* Silent until the host turns the echo on; the notice is in the messages either way. */
static void test_echo(void) {
    char printed[256];
    printed_by_dense_release(printed, sizeof printed);
    CHECK(printed[0] == '\0');
    CHECK(ostreljet_set_echo(1) == 0);
    printed_by_dense_release(printed, sizeof printed);
    CHECK(strcmp(printed, "The edge of the jet is interacting with the ground at 13.0 m.\n") == 0);
    CHECK(ostreljet_set_echo(0) == 1);
    printed_by_dense_release(printed, sizeof printed);
    CHECK(printed[0] == '\0');
}

int main(void) {
    test_names_defaults_and_failed_validation();
    test_property_descriptions();
    test_run_and_queries();
    test_gas_summary_and_units();
    test_refused_run();
    test_echo();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
