/* The C API exercised from C, as a foreign host would use it. */
#include "ostreljet/ostreljet.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

static int passed = 0;
static int failed = 0;

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (condition) {                                                                                     \
            ++passed;                                                                                        \
        } else {                                                                                             \
            ++failed;                                                                                        \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);                    \
        }                                                                                                    \
    } while (0)

static void set_vent(ostreljet_model *m) {
    CHECK(ostreljet_set(m, "stackHeight", 10.0) == 0);
    CHECK(ostreljet_set(m, "orificeDiameter", 0.2) == 0);
    CHECK(ostreljet_set(m, "releaseAngle", 90.0) == 0);
    CHECK(ostreljet_set(m, "massFlowrate", 1.0) == 0);
    CHECK(ostreljet_set(m, "sourceMolecularWeight", 0.016) == 0);
    CHECK(ostreljet_set(m, "sourceSpecificHeat", 2200.0) == 0);
    CHECK(ostreljet_set(m, "sourceSpecificHeatRatio", 1.3) == 0);
    CHECK(ostreljet_set(m, "sourceTemperature", 300.0) == 0);
    CHECK(ostreljet_set(m, "atmosphereSurfaceRoughness", 0.1) == 0);
    CHECK(ostreljet_set(m, "atmosphereSpecificHeat", 1005.0) == 0);
    CHECK(ostreljet_set(m, "stoppingConcentration", 0.01) == 0);
}

static void test_names_and_defaults(void) {
    ostreljet_model *m = ostreljet_create();
    double value = -1.0;
    CHECK(m != NULL);
    CHECK(strcmp(ostreljet_version(), "1.1.0.0") == 0);
    CHECK(ostreljet_get(m, "atmosphereTemperature", &value) == 0 && value == 288.15);
    CHECK(ostreljet_get(m, "dischargeCoefficient", &value) == 0 && value == 1.0);
    CHECK(ostreljet_get(m, "pasquillStability", &value) == 0 && value == 3.0);
    CHECK(ostreljet_get(m, "referenceWindBearing", &value) == 0 && value == 90.0);
    CHECK(ostreljet_set(m, "stackheight", 1.0) == -1); /* names are case-sensitive */
    CHECK(strstr(ostreljet_last_error(), "stackheight") != NULL);
    CHECK(ostreljet_get(m, "noSuchThing", &value) == -1);
    CHECK(ostreljet_set(m, "pasquillStability", 2.5) == -2);
    CHECK(ostreljet_set(m, "pasquillStability", 5.0) == 0);
    CHECK(ostreljet_get(m, "pasquillStability", &value) == 0 && value == 5.0);
    CHECK(ostreljet_set(m, "timeAveraging", 1.0) == 0);
    CHECK(ostreljet_get(m, "timeAveraging", &value) == 0 && value == 1.0);
    CHECK(ostreljet_set(m, "stackHeight", NAN) == 0); /* values are not checked until a run */
    CHECK(ostreljet_set(NULL, "stackHeight", 1.0) == -2);
    ostreljet_destroy(m);
    ostreljet_destroy(NULL);
}

static void test_failed_validation(void) {
    ostreljet_model *m = ostreljet_create();
    double sentinel[2] = {-7.0, -7.0};
    CHECK(ostreljet_run(m) == 0);
    CHECK(ostreljet_step_count(m) == 0);
    CHECK(ostreljet_message_count(m) == 1);
    CHECK(strcmp(ostreljet_message(m, 0), "The orifice diameter should lie between 0 and 100m.") == 0);
    CHECK(ostreljet_message(m, 1) == NULL);
    CHECK(ostreljet_message(m, -1) == NULL);
    CHECK(ostreljet_series(m, "arclength", sentinel, 2) == 0);
    CHECK(sentinel[0] == -7.0);
    CHECK(ostreljet_series(m, "radius", sentinel, 2) == -1);
    CHECK(ostreljet_concentration(m, 1.0, 2.0, 3.0) == 0.0);
    ostreljet_destroy(m);
}

static void test_run_and_queries(void) {
    ostreljet_model *m = ostreljet_create();
    double x[4] = {0};
    double grid[9];
    int steps;
    int i;
    set_vent(m);
    CHECK(ostreljet_run(m) == 1);
    steps = ostreljet_step_count(m);
    CHECK(steps > 2);
    /* The series are copied up to the capacity, never beyond. */
    x[3] = -99.0;
    CHECK(ostreljet_series(m, "z", x, 3) == 3);
    CHECK(x[0] == 10.0);
    CHECK(x[3] == -99.0);
    CHECK(ostreljet_series(m, "arclength", x, 1) == 1 && x[0] == 0.0);
    CHECK(ostreljet_series(m, "x", x, -1) == -2);
    CHECK(ostreljet_message_count(m) >= 1);
    /* The last message is the stopping concentration's notice. */
    CHECK(strncmp(ostreljet_message(m, ostreljet_message_count(m) - 1), "Stopping concentration reached at ",
                  34) == 0);
    /* Concentration near the source on the axis is the source gas itself. */
    CHECK(fabs(ostreljet_concentration(m, 0.0, 0.0, 10.0) - 1.0) < 1e-12);
    /* The grid refuses negative counts and small buffers without writing anything. */
    for (i = 0; i < 9; ++i) {
        grid[i] = -5.0;
    }
    CHECK(ostreljet_concentration_grid(m, 0, 0, 0, 10, 10, 10, -1, 3, 3, grid, 9) == -1);
    CHECK(ostreljet_concentration_grid(m, 0, 0, 0, 10, 10, 10, 2, 2, 3, grid, 9) == -1);
    CHECK(grid[0] == -5.0 && grid[8] == -5.0);
    CHECK(ostreljet_concentration_grid(m, 0, 0, 10, 0, 0, 20, 1, 1, 9, grid, 9) == 9);
    CHECK(fabs(grid[0] - 1.0) < 1e-12);
    CHECK(ostreljet_concentration_grid(m, 0, 0, 0, 1, 1, 1, 0, 5, 5, grid, 0) == 0);
    ostreljet_destroy(m);
}

int main(void) {
    test_names_and_defaults();
    test_failed_validation();
    test_run_and_queries();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
