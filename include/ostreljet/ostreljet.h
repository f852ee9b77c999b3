/* Ostreljet C API: an integral model of a continuous gas jet in a crosswind, for any host that can
 * call C (scripting languages through their foreign-function interfaces, spreadsheets, .NET).
 *
 * A model is an opaque handle. Set its inputs by property name, run it, then read the centreline
 * series, the messages and concentrations. Every function catches every error inside the library and
 * reports it as a status; ostreljet_last_error() then says what went wrong on the calling thread.
 * Unlike the component interface, these functions check their names, indexes and capacities.
 *
 * Status values of the int-returning functions: OSTRELJET_OK (0) for success (or a count),
 * OSTRELJET_UNKNOWN_NAME (-1), OSTRELJET_INVALID_ARGUMENT (-2: a null pointer, a negative capacity,
 * an index out of range, a value that is not a finite number, a non-integral or out-of-range value for
 * an enumeration, a release that would start underground) and OSTRELJET_INTERNAL_ERROR (-3: out of
 * memory or another internal failure).
 *
 * The input properties are listed by ostreljet_property_count() and ostreljet_property_name(); each
 * one's unit, meaning, default, accepted range and enumeration labels come from the functions below.
 * SI units; angles in degrees.
 *
 * Series names: arclength, x, y, z, profileRadius, centrelineConcentration, centrelineTemperature,
 * centrelineVelocity. */
#ifndef OSTRELJET_OSTRELJET_H
#define OSTRELJET_OSTRELJET_H

#include "ostreljet/Export.hpp"

#define OSTRELJET_API OSTRELJET_EXPORT

/* Status values. */
#define OSTRELJET_OK 0
#define OSTRELJET_UNKNOWN_NAME (-1)
#define OSTRELJET_INVALID_ARGUMENT (-2)
#define OSTRELJET_INTERNAL_ERROR (-3)

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ostreljet_model ostreljet_model;

/* A new model with every input at its default; NULL when out of memory. */
OSTRELJET_API ostreljet_model *ostreljet_create(void);
/* Releases a model; NULL is ignored. */
OSTRELJET_API void ostreljet_destroy(ostreljet_model *m);

/* Writes an input property: OSTRELJET_OK; OSTRELJET_UNKNOWN_NAME; OSTRELJET_INVALID_ARGUMENT for a value
 * that is not a finite number, or an enumeration value that is not a whole number in its range
 * (pasquillStability 0..5, timeAveraging 0..1); ostreljet_last_error() then names the property and the
 * value, and nothing is stored. */
OSTRELJET_API int ostreljet_set(ostreljet_model *m, const char *property, double value);
/* Reads an input property into *value: OSTRELJET_OK or OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_get(const ostreljet_model *m, const char *property, double *value);

/* Validates and runs: 1 ran (however the integration ended; read the messages), 0 inputs invalid
 * (read the messages); -2 refused before the run because the release starts at or below ground level
 * (stackHeight <= 0) and points downward (releaseAngle < 0): ostreljet_last_error() says so and the
 * model keeps the results of its previous run. */
OSTRELJET_API int ostreljet_run(ostreljet_model *m);
/* Number of output steps of the last run. */
OSTRELJET_API int ostreljet_step_count(const ostreljet_model *m);
/* Copies a series of the last run into out: the number of values copied (at most capacity);
 * OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_series(const ostreljet_model *m, const char *series, double *out, int capacity);

/* Messages of the last run: errors, warnings and termination notices, in order. */
OSTRELJET_API int ostreljet_message_count(const ostreljet_model *m);
/* Text of message index (from 0); NULL out of range. Valid until the next run or destroy. */
OSTRELJET_API const char *ostreljet_message(const ostreljet_model *m, int index);

/* The library's version, "major.minor.patch.tweak". */
OSTRELJET_API const char *ostreljet_version(void);

/* The input properties, in the order of the model's interface. Strings are static. */
OSTRELJET_API int ostreljet_property_count(void);
/* Name of the input at index (from 0); NULL out of range. */
OSTRELJET_API const char *ostreljet_property_name(int index);
/* Type of an input: "double", or the name of its enumeration ("TIME_AVERAGING", "PASQUILL");
 * NULL for an unknown name. */
OSTRELJET_API const char *ostreljet_property_type(const char *name);
/* SI unit of an input in ASCII ("m", "J/(kg K)", "degree"; "-" for a pure number or an enumeration);
 * NULL for an unknown name. */
OSTRELJET_API const char *ostreljet_property_unit(const char *name);
/* One line saying what the input is; NULL for an unknown name. */
OSTRELJET_API const char *ostreljet_property_description(const char *name);
/* The value of the input on a new model into *value: OSTRELJET_OK or OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_property_default(const char *name, double *value);
/* The values that a run's validation accepts: lower and upper bounds (-HUGE_VAL or HUGE_VAL where
 * there is none), and whether each finite bound is itself accepted (1) or refused (0). Any of the
 * four pointers may be NULL. OSTRELJET_OK or OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_property_range(const char *name, double *lower, double *upper,
                                           int *lower_inclusive, int *upper_inclusive);
/* Number of labels of an enumeration input (0 for a double); OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_property_label_count(const char *name);
/* Label of an enumeration input's value ("A" for 0 of pasquillStability, "short" for 0 of
 * timeAveraging); NULL for an unknown name or a value without a label. */
OSTRELJET_API const char *ostreljet_property_label(const char *name, int value);
/* Name of the enumeration member for a value ("PASQUILL_A"); NULL as for ostreljet_property_label. */
OSTRELJET_API const char *ostreljet_property_member(const char *name, int value);

/* Concentration (mass fraction) at a point after a run; 0 before any run; NaN on a null model or a
 * coordinate that is not a finite number (ostreljet_last_error() names it).
 * Concentrations below the stopping concentration are reported as 0. A point is 0 only where no part of the
 * jet reaches it, wherever the jet goes (the component interface keeps its own quicker test against the
 * downwind line). */
OSTRELJET_API double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z);
/* Concentrations on a regular grid, x outermost and z innermost. The x axis runs from x0 to x1
 * inclusive; the y and z axes stop one step short of y1 and z1. Returns the number of values written
 * (nx*ny*nz, in point order); -1 when a corner coordinate is not a finite number, an extent
 * (x1 - x0, y1 - y0, z1 - z0) overflows, a count is negative or capacity is too small, and then
 * nothing is written (ostreljet_last_error() says which). */
OSTRELJET_API long long ostreljet_concentration_grid(const ostreljet_model *m, double x0, double y0,
                                                     double z0, double x1, double y1, double z1, int nx,
                                                     int ny, int nz, double *out, long long capacity);

/* Reads a scenario file (a JSON object of input properties) into the model: OSTRELJET_OK;
 * OSTRELJET_INVALID_ARGUMENT when the file is missing or invalid (ostreljet_last_error() names the key,
 * value, line or column). */
OSTRELJET_API int ostreljet_load_scenario(ostreljet_model *m, const char *path);

/* What the last failing call on this thread reported; "" when none has failed. */
OSTRELJET_API const char *ostreljet_last_error(void);

#ifdef __cplusplus
}
#endif

#endif /* OSTRELJET_OSTRELJET_H */
