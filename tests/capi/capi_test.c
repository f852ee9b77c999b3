/* The C API exercised from C, as a foreign host would use it. */
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
    CHECK(strcmp(ostreljet_version(), "1.1.0.0") == 0);
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
    test_run_and_queries();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
