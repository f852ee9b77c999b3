/* Ostreljet C API: an integral model of a continuous gas jet in a crosswind, for any host that can
 * call C (scripting languages through their foreign-function interfaces, spreadsheets, .NET).
 *
 * A model is an opaque handle. Set its inputs by property name, run it, then read the centreline
 * series, the messages and concentrations. Every function catches every error inside the library and
 * reports it as a status; ostreljet_last_error() then says what went wrong on the calling thread.
 * Unlike the component interface, these functions check their names, indexes and capacities.
 *
 * Status values of the int-returning functions: 0 success (or a count), -1 unknown name,
 * -2 invalid argument (a null pointer, a negative capacity, a non-integral or out-of-range value
 * for an enumeration), -3 out of memory or another internal failure.
 *
 * Input property names: stackHeight, orificeDiameter, stackLocationX, stackLocationY, releaseAngle,
 * dischargeCoefficient, massFlowrate, atmosphereMolecularWeight, atmospherePressure,
 * atmosphereSpecificHeat, atmosphereTemperature, atmosphereSurfaceRoughness, referenceWindHeight,
 * referenceWindSpeed, referenceWindBearing, sourceMolecularWeight, sourceSpecificHeat,
 * sourceSpecificHeatRatio, sourceTemperature, timeAveraging (0 short, 1 long), stoppingConcentration,
 * pasquillStability (0 = A .. 5 = F), stackBearing. SI units; angles in degrees.
 *
 * Series names: arclength, x, y, z, profileRadius, centrelineConcentration, centrelineTemperature,
 * centrelineVelocity. */
#ifndef OSTRELJET_OSTRELJET_H
#define OSTRELJET_OSTRELJET_H

#if defined(_WIN32)
#define OSTRELJET_API __declspec(dllexport)
#else
#define OSTRELJET_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ostreljet_model ostreljet_model;

/* A new model with every input at its default; NULL when out of memory. */
OSTRELJET_API ostreljet_model *ostreljet_create(void);
/* Releases a model; NULL is ignored. */
OSTRELJET_API void ostreljet_destroy(ostreljet_model *m);

/* Writes an input property: 0; -1 unknown name; -2 invalid value for an enumeration. */
OSTRELJET_API int ostreljet_set(ostreljet_model *m, const char *property, double value);
/* Reads an input property into *value: 0; -1 unknown name. */
OSTRELJET_API int ostreljet_get(const ostreljet_model *m, const char *property, double *value);

/* Validates and runs: 1 ran (however the integration ended; read the messages), 0 inputs invalid. */
OSTRELJET_API int ostreljet_run(ostreljet_model *m);
/* Asks the run in progress on m to end soon; safe to call from any thread while ostreljet_run runs on
 * another. The run then ends with the message "The run was cancelled at ... m." (number 91). 0; -2 on a
 * null model. A run that starts later is not affected. */
OSTRELJET_API int ostreljet_cancel(ostreljet_model *m);
/* Bounds the work of every later run of m to this many evaluations of the centreline residual (0: no
 * bound). A new model has a bound far above what any ordinary run needs; a run that spends it ends with the
 * message "The run was ended at ... m: its budget of centreline evaluations is spent." (number 90).
 * 0; -2 on a null model. */
OSTRELJET_API int ostreljet_set_budget(ostreljet_model *m, unsigned long long evaluations);

/* Number of output steps of the last run. */
OSTRELJET_API int ostreljet_step_count(const ostreljet_model *m);
/* Copies a series of the last run into out: the number of values copied (at most capacity);
 * -1 unknown name. */
OSTRELJET_API int ostreljet_series(const ostreljet_model *m, const char *series, double *out, int capacity);

/* Messages of the last run: errors, warnings and termination notices, in order. */
OSTRELJET_API int ostreljet_message_count(const ostreljet_model *m);
/* Text of message index (from 0); NULL out of range. Valid until the next run or destroy. */
OSTRELJET_API const char *ostreljet_message(const ostreljet_model *m, int index);

/* "1.1.0.0" */
OSTRELJET_API const char *ostreljet_version(void);

/* Concentration (mass fraction) at a point after a run; 0 before any run; NaN on a null model.
 * Concentrations below the stopping concentration are reported as 0. A point is 0 only where no part of the
 * jet reaches it, wherever the jet goes (the component interface keeps its own quicker test against the
 * downwind line). */
OSTRELJET_API double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z);
/* Concentrations on a regular grid, x outermost and z innermost. The x axis runs from x0 to x1
 * inclusive; the y and z axes stop one step short of y1 and z1. Returns the number of values written
 * (nx*ny*nz, in point order); -1 when a count is negative or capacity is too small, and then nothing
 * is written. */
OSTRELJET_API long long ostreljet_concentration_grid(const ostreljet_model *m, double x0, double y0,
                                                     double z0, double x1, double y1, double z1, int nx,
                                                     int ny, int nz, double *out, long long capacity);

/* Reads a scenario file (a JSON object of input properties) into the model: 0; -2 when the file is
 * missing or invalid (ostreljet_last_error() names the key, value, line or column). */
OSTRELJET_API int ostreljet_load_scenario(ostreljet_model *m, const char *path);

/* What the last failing call on this thread reported; "" when none has failed. */
OSTRELJET_API const char *ostreljet_last_error(void);

#ifdef __cplusplus
}
#endif

#endif /* OSTRELJET_OSTRELJET_H */
