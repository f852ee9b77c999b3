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
 * centrelineVelocity.
 *
 * Concentrations of the model (the centreline series, the stopping concentration, the field) are volume
 * (mole) fractions of released gas. Functions that take a unit word accept "mass" (mass fraction),
 * "vol" (volume fraction), "%" (% by volume), "ppm" (ppm by volume) and "mg/m3" (mg of released gas per
 * m3 of mixture at the point's temperature and the ambient pressure); NULL or "" is "vol".
 *
 * Quiet by default: the model's once-only notices are kept in its messages and are not printed, unless
 * ostreljet_set_echo(1) turns their echo to standard output on.
 *
 * Threads: separate models may be used on separate threads at the same time. One model must be used by
 * one thread at a time (a host that shares it holds its own lock around each call); the only call that
 * may be made on a model while another thread is inside a call on it is ostreljet_cancel. Texts that a
 * function returns (a message, the gas's name) stay valid until the next call on the same model. The
 * functions that take no model (the schema, the gas table, the version) may be called from any thread. */
#ifndef OSTRELJET_OSTRELJET_H
#define OSTRELJET_OSTRELJET_H

#include "ostreljet/Export.hpp"

#define OSTRELJET_API OSTRELJET_EXPORT

/* Status values. */
#define OSTRELJET_OK 0
#define OSTRELJET_UNKNOWN_NAME (-1)
#define OSTRELJET_INVALID_ARGUMENT (-2)
#define OSTRELJET_INTERNAL_ERROR (-3)

/* How the last run ended (ostreljet_ending). */
#define OSTRELJET_ENDING_STOPPING_CONCENTRATION 0 /* a normal end */
#define OSTRELJET_ENDING_ON_GROUND 1              /* the centreline reached the ground */
#define OSTRELJET_ENDING_TOP_OF_BOUNDARY_LAYER 2  /* the centreline reached the top of the boundary layer */
#define OSTRELJET_ENDING_REFUSED 3        /* refused by the source checks: no output steps, no results */
#define OSTRELJET_ENDING_INPUTS_INVALID 4 /* validation refused an input: no output steps */
#define OSTRELJET_ENDING_OTHER 5          /* the end of the range, or the integrator gave up */
#define OSTRELJET_ENDING_NOT_RUN 6        /* the model has not run */

/* What a run's outcome means (ostreljet_status), the same on every front. */
#define OSTRELJET_STATUS_OK 0         /* results to use as they are */
#define OSTRELJET_STATUS_WARNING 1    /* results to use with care (a warning message says why) */
#define OSTRELJET_STATUS_INCOMPLETE 2 /* a limit ended the run: results up to where it ended */
#define OSTRELJET_STATUS_FAILED 3     /* the model produced non-physical values: no results */
#define OSTRELJET_STATUS_REFUSED 4    /* the source checks refused the release: no results */
#define OSTRELJET_STATUS_INVALID 5    /* an input, or the weather it implies, was refused: no run */
#define OSTRELJET_STATUS_NOT_RUN 6    /* the model has not run */

/* Severity of a message (ostreljet_message_severity). */
#define OSTRELJET_INFORMATION 0
#define OSTRELJET_WARNING 1
#define OSTRELJET_ERROR 2

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

/* Validates and runs: 1 ran (however the integration ended: ostreljet_ending() says how, and
 * OSTRELJET_ENDING_REFUSED means the source checks refused the release, leaving no results), 0 inputs
 * invalid (read the messages); -2 refused before the run because the release starts at or below ground level
 * (stackHeight <= 0) and points downward (releaseAngle < 0): ostreljet_last_error() says so and the
 * model keeps the results of its previous run. */
OSTRELJET_API int ostreljet_run(ostreljet_model *m);
/* Asks the run or summary in progress on m to end soon; safe to call from any thread while ostreljet_run
 * or ostreljet_summarize runs on another. The run then ends with the message "The run was cancelled at
 * ... m." (number 91). 0; -2 on a null model. A run or summary that starts later is not affected. */
OSTRELJET_API int ostreljet_cancel(ostreljet_model *m);
/* Bounds the work of every later run of m to this many evaluations of the centreline residual (0: no
 * bound). A new model has a bound far above what any ordinary run needs; a run that spends it ends with the
 * message "The run was ended at ... m: its budget of centreline evaluations is spent." (number 90).
 * 0; -2 on a null model. */
OSTRELJET_API int ostreljet_set_budget(ostreljet_model *m, unsigned long long evaluations);

/* Number of output steps of the last run. */
OSTRELJET_API int ostreljet_step_count(const ostreljet_model *m);
/* Copies a series of the last run into out: the number of values copied (at most capacity);
 * OSTRELJET_UNKNOWN_NAME. */
OSTRELJET_API int ostreljet_series(const ostreljet_model *m, const char *series, double *out, int capacity);

/* Messages of the last run: errors, warnings and termination notices, in order. */
OSTRELJET_API int ostreljet_message_count(const ostreljet_model *m);
/* Text of message index (from 0); NULL out of range. Valid until the next run or destroy. */
OSTRELJET_API const char *ostreljet_message(const ostreljet_model *m, int index);

/* Severity of message index: OSTRELJET_INFORMATION ("Stopping concentration reached" and other normal
 * notices), OSTRELJET_WARNING or OSTRELJET_ERROR; OSTRELJET_INVALID_ARGUMENT out of range. */
OSTRELJET_API int ostreljet_message_severity(const ostreljet_model *m, int index);
/* "information", "warning" or "error"; NULL for another value. Static. */
OSTRELJET_API const char *ostreljet_severity_name(int severity);

/* How the last run ended: one of OSTRELJET_ENDING_*; OSTRELJET_ENDING_NOT_RUN before any run. A run
 * refused by the source checks gives OSTRELJET_ENDING_REFUSED (ostreljet_run returned 1), invalid inputs
 * OSTRELJET_ENDING_INPUTS_INVALID (ostreljet_run returned 0). */
OSTRELJET_API int ostreljet_ending(const ostreljet_model *m);
/* "stopping concentration", "centreline on the ground", "top of the boundary layer", "refused by the
 * source checks", "inputs invalid", "other", "not run"; NULL for another value. Static. */
OSTRELJET_API const char *ostreljet_ending_name(int ending);
/* The last run's status: one of OSTRELJET_STATUS_*; OSTRELJET_STATUS_NOT_RUN before any run. */
OSTRELJET_API int ostreljet_status(const ostreljet_model *m);
/* "ok", "warning", "incomplete", "failed", "refused", "invalid", "not run"; NULL for another value.
 * Static. */
OSTRELJET_API const char *ostreljet_status_name(int status);
/* Whether the last run computed the concentration at a point: 1 inside the modelled region, 0 beyond the
 * run's end plane (the plane through its last output step, normal to the jet) or for a run without
 * results, where ostreljet_concentration answers NaN; OSTRELJET_INVALID_ARGUMENT for a point that is not
 * finite. */
OSTRELJET_API int ostreljet_computed(const ostreljet_model *m, double x, double y, double z);
/* The message that ended the last run, with the figures a refusal compared; NULL when none did or before
 * a run. Valid until the next run. */
OSTRELJET_API const char *ostreljet_end_message(const ostreljet_model *m);

/* Echo of the once-only notices to standard output for every model of the C API: on (non-zero) or off
 * (0, as the library starts). Applies from each model's next run; returns the previous setting. */
OSTRELJET_API int ostreljet_set_echo(int on);

/* The released gas by name from the library's gas table ("methane", "propane", "chlorine", ...), as a
 * scenario's "gas" key: fills sourceMolecularWeight, sourceSpecificHeat and sourceSpecificHeatRatio and
 * makes the gas's hazard levels (LFL, UFL, LFL/2, IDLH) available to ostreljet_summarize. NULL or ""
 * forgets the gas and leaves the source properties. OSTRELJET_OK; OSTRELJET_UNKNOWN_NAME
 * (ostreljet_last_error() lists the known gases). ostreljet_load_scenario sets the scenario's gas, or
 * none. */
OSTRELJET_API int ostreljet_set_gas(ostreljet_model *m, const char *name);
/* The gas's name as the table spells it; "" when none is named; NULL for a null model. */
OSTRELJET_API const char *ostreljet_gas(const ostreljet_model *m);
/* The gases of the table, by index from 0; NULL out of range. Static. */
OSTRELJET_API int ostreljet_gas_count(void);
OSTRELJET_API const char *ostreljet_gas_name(int index);

/* Run summary. ostreljet_summarize computes the summary of the last run and keeps it on the model until
 * the next run or summarize:
 *   levels: comma-separated levels, each a number with an optional unit ("0.01", "2%", "5000ppm",
 *     "100mg/m3"; a bare number is a volume fraction) or a named level of the model's gas ("LFL", "UFL",
 *     "LFL/2", "IDLH"); NULL or "" for the defaults: LFL and LFL/2 for a flammable gas of the table,
 *     else the stopping concentration.
 *   unit: the unit word of the summary's concentrations (the levels and the ground maximum).
 * Returns the number of levels; OSTRELJET_INVALID_ARGUMENT for an unreadable level or unit, or a named
 * level the gas has no value for (ostreljet_last_error() quotes it).
 *
 * Figures are read by name and are NaN where the answer does not exist (the plume never touches down,
 * a level is never reached, no run or no output steps); NaN with ostreljet_last_error() set for an unknown
 * name or when there is no summary. Downwind distances are measured from the stack along the wind,
 * crosswind distances to the left of the wind.
 *   Run figures: greatestCentrelineHeight (m), greatestCentrelineHeightDownwind (m),
 *     greatestCentrelineHeightArcLength (m), edgeReachesGroundDownwind (m),
 *     centrelineReachesGroundDownwind (m), groundMaximum (the summary's unit, at its point and the air
 *     temperature at ground level), groundMaximumX, groundMaximumY, groundMaximumDownwind,
 *     groundMaximumCrosswind (m), groundMaximumInFarField (1 when the maximum lies in the far field),
 *     notComputedBeyondDownwind (m, where the modelled region ends: the far field's end, else the run's).
 *   Level figures, of the whole plume (the jet, then the far field past its hand-off plane): level (the
 *     summary's unit), centrelineDownwindDistance (m, where the centreline concentration first falls
 *     below the level) and centrelineArcLength (m along the jet's centreline; NaN in the far field),
 *     farthestDownwindExtent and greatestHalfWidth (m, of the region at or above the level),
 *     exceededAtEndOfRun (1 when the centreline is still at or above the level where the modelled
 *     region ends, else 0), regionComputed (0 when the searches stopped before this level's region, or
 *     there are no results: its two figures are then NaN because they were not computed, not because they
 *     do not exist), regionOpen (1 when the region is still exceeded where the modelled region ends: cut
 *     off there, not closed), centrelineInFarField and regionInFarField (1 when that answer comes from the
 *     far field).
 *   groundMaximumComputed (run figure): 0 when the searches stopped before the ground maximum.
 * The searches have a budget as large as the run's (ostreljet_set_budget) and stop on
 * ostreljet_cancel; a summary cut short so has a last message of its own (number 90 or 91), readable
 * with the summary's figures but not among the run's messages. At most 64 levels; more are refused
 * (-2). Before any run the levels are converted and every figure is NaN; with no levels given and no
 * default (no flammable gas, stoppingConcentration 0) the summary is refused (-2) saying so. */
OSTRELJET_API int ostreljet_summarize(ostreljet_model *m, const char *levels, const char *unit);
/* The summary's unit word ("vol", "ppm", ...); NULL without a summary. */
OSTRELJET_API const char *ostreljet_summary_unit(const ostreljet_model *m);
/* The message of a summary that its budget or a cancel cut short ("The summary was ended: ..."); NULL
 * when the summary is complete or there is none. */
OSTRELJET_API const char *ostreljet_summary_cut_message(const ostreljet_model *m);
/* The run figures' names, by index from 0 (NULL out of range), and the unit of one ("m", or the
 * summary's unit word for a concentration; NULL for an unknown name). */
OSTRELJET_API int ostreljet_summary_figure_count(void);
OSTRELJET_API const char *ostreljet_summary_figure_name(int index);
OSTRELJET_API const char *ostreljet_summary_figure_unit(const ostreljet_model *m, const char *name);
OSTRELJET_API double ostreljet_summary_figure(const ostreljet_model *m, const char *name);
/* Number of levels of the summary; OSTRELJET_INVALID_ARGUMENT without one. */
OSTRELJET_API int ostreljet_summary_level_count(const ostreljet_model *m);
/* A level as written ("LFL", "2%"); NULL out of range. Valid until the next summarize or run. */
OSTRELJET_API const char *ostreljet_summary_level_text(const ostreljet_model *m, int index);
/* The level figures' names and units, as for the run figures. */
OSTRELJET_API int ostreljet_summary_level_figure_count(void);
OSTRELJET_API const char *ostreljet_summary_level_figure_name(int index);
OSTRELJET_API const char *ostreljet_summary_level_figure_unit(const ostreljet_model *m, const char *name);
OSTRELJET_API double ostreljet_summary_level_figure(const ostreljet_model *m, int index, const char *name);

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

/* Concentration (volume fraction) at a point after a run; 0 before any run; NaN on a null model or a
 * coordinate that is not a finite number (ostreljet_last_error() names it).
 * Inside the modelled region the field's own value is answered (a point is 0 only where no part of the jet
 * reaches it, wherever the jet goes; the component interface keeps its own quicker test against the
 * downwind line); beyond the run's end plane, and for a run without results, NaN: not computed
 * (ostreljet_computed tells it apart from an error). */
OSTRELJET_API double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z);
/* Concentrations on a regular grid, x outermost and z innermost. The x axis runs from x0 to x1
 * inclusive; the y and z axes stop one step short of y1 and z1. Returns the number of values written
 * (nx*ny*nz, in point order); -1 when a corner coordinate is not a finite number, an extent
 * (x1 - x0, y1 - y0, z1 - z0) overflows, a count is negative or capacity is too small, and then
 * nothing is written (ostreljet_last_error() says which). */
OSTRELJET_API long long ostreljet_concentration_grid(const ostreljet_model *m, double x0, double y0,
                                                     double z0, double x1, double y1, double z1, int nx,
                                                     int ny, int nz, double *out, long long capacity);

/* The same two queries in a unit (see the unit words above; mg/m3 at the point's mixture temperature,
 * from the air temperature at its height). NaN or -1, with ostreljet_last_error() set, for an unknown
 * unit. */
OSTRELJET_API double ostreljet_concentration_unit(const ostreljet_model *m, double x, double y, double z,
                                                  const char *unit);
OSTRELJET_API long long ostreljet_concentration_grid_unit(const ostreljet_model *m, double x0, double y0,
                                                          double z0, double x1, double y1, double z1, int nx,
                                                          int ny, int nz, double *out, long long capacity,
                                                          const char *unit);

/* Maps and weather. The footprint of each level ("LFL,1%", numbers in `unit`) at height z (m) of the last
 * run, as GeoJSON text: a FeatureCollection with one feature per level, the polygons where the field is at
 * or above it, wherever the field reaches. With origin_latitude and origin_longitude (degrees, WGS84; both
 * NaN for none) the coordinates are longitude and latitude, else metres east and north. Returns the
 * text's length in bytes; the text and its NUL are copied when capacity exceeds the length (call with
 * out NULL for the length); -1 with ostreljet_last_error() on a bad level, unit, height or origin. */
OSTRELJET_API long long ostreljet_footprint_geojson(const ostreljet_model *m, const char *levels,
                                                    const char *unit, double z, double origin_latitude,
                                                    double origin_longitude, char *out, long long capacity);
/* The concentration (volume fraction) on a horizontal plane: nx by ny points from (x0, y0) to (x1, y1)
 * inclusive at height z, x outer, on every core. Returns nx*ny, or -1 as for the grid. */
OSTRELJET_API long long ostreljet_plane(const ostreljet_model *m, double x0, double y0, double x1, double y1,
                                        int nx, int ny, double z, double *out, long long capacity);
/* Levels ("LFL,1%") in the model's unit (volume fraction) for the model's gas; the count, or -1. */
OSTRELJET_API int ostreljet_levels_in_model_unit(const ostreljet_model *m, const char *levels,
                                                 const char *unit, double *out, int capacity);
/* Reads a weather rose file: six numbers per case (windFrom in degrees, windSpeed in m/s, class 0..5,
 * frequency normalised to sum to 1, atmosphereTemperature in K or NaN, row). Returns the count of cases
 * (with cases NULL, only the count), or -1 naming the row and column at fault. */
OSTRELJET_API int ostreljet_weather_rose(const char *path, double *cases, int capacity);
/* Writes one weather case into the model's inputs before a run: the wind's direction of origin (degrees),
 * speed (m/s), class 0..5 and air temperature (K, NaN to keep); a release that is not vertical keeps its
 * bearing relative to the wind. */
OSTRELJET_API int ostreljet_apply_weather(ostreljet_model *m, double wind_from, double wind_speed,
                                          int stability, double temperature);

/* Reads a scenario file (a JSON object of input properties) into the model: OSTRELJET_OK;
 * OSTRELJET_INVALID_ARGUMENT when the file is missing or invalid (ostreljet_last_error() names the key,
 * value, line or column). */
OSTRELJET_API int ostreljet_load_scenario(ostreljet_model *m, const char *path);

/* The far field past the jet (after a run; its inputs farFieldDispersion 0 rural / 1 urban, averagingTime in
 * s and farFieldDistance in m are set with ostreljet_set or read from a scenario). A far-field series by
 * name: "downwindDistance" (m from the stack), "height" (m), "sigmaY", "sigmaZ" (m),
 * "centrelineConcentration", "groundLevelConcentration" (volume fraction), "regime" (0 dense, 1 passive).
 * Returns the number of points, writing them only when capacity is enough; 0 without a far field;
 * OSTRELJET_UNKNOWN_NAME for another name. The concentration queries above answer past the hand-off plane
 * from the far field, and NaN beyond its end, where nothing is computed. */
OSTRELJET_API int ostreljet_far_field_series(const ostreljet_model *m, const char *series, double *out,
                                             int capacity);
/* "handOffDistance", "handOffHeight" (m), "continuityRatio" (far field over jet at the hand-off),
 * "passiveFrom" and "endDistance" (m downwind); NaN without a far field or for another name (then with an
 * error). */
OSTRELJET_API double ostreljet_far_field_figure(const ostreljet_model *m, const char *name);
/* Why the jet handed over: "passive transition", "touchdown", "dense touchdown", "end of the jet", or
 * "not computed". */
OSTRELJET_API const char *ostreljet_far_field_hand_off(const ostreljet_model *m);

/* What the last failing call on this thread reported; "" when none has failed. */
OSTRELJET_API const char *ostreljet_last_error(void);

#ifdef __cplusplus
}
#endif

#endif /* OSTRELJET_OSTRELJET_H */
