#include "ostreljet/ostreljet.h"

#include "ostreljet/Version.hpp"
#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/io/ConcentrationConverter.hpp"
#include "ostreljet/io/ConcentrationUnit.hpp"
#include "ostreljet/io/GasTable.hpp"
#include "ostreljet/io/InputSanity.hpp"
#include "ostreljet/io/InputSchema.hpp"
#include "ostreljet/io/Level.hpp"
#include "ostreljet/io/PropertyTable.hpp"
#include "ostreljet/io/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace {

// Whether models of the C API echo their once-only notices to standard output; off until a host turns
// it on. Each model applies it to its own message list, so a component in the same process keeps
// echoing as it always does.
std::atomic<bool> echoOn{false};

} // namespace

// A summary kept on the handle with the unit and the level texts it was asked for.
struct KeptSummary {
    ostreljet::RunSummary summary;
    ostreljet::ConcentrationUnit unit;
    std::vector<std::string> levelTexts; // as written, or as the defaults name them
    std::vector<double> levelValues;     // in `unit`
    double groundMaximum;                // in `unit`, at the ground maximum's location; NaN when absent
};

struct ostreljet_model {
    ostreljet::JetModel model;
    std::string gas; // the gas of the table that the source properties came from; "" when none named
    bool hasRun = false;
    bool inputsAccepted = false;
    ostreljet::RunSummary::Ending ending = ostreljet::RunSummary::Ending::other;
    std::optional<std::string> endMessage;
    std::vector<ostreljet::MessageSeverity> severities; // of the last run's messages, in order
    std::optional<KeptSummary> summary;
    // The exact concentration field of the last run, built on the first query after a change; queries
    // from several threads share it.
    mutable std::mutex fieldMutex;
    mutable std::shared_ptr<const ostreljet::ConcentrationField> field;

    std::shared_ptr<const ostreljet::ConcentrationField> currentField() const {
        const std::lock_guard<std::mutex> lock(fieldMutex);
        if (!field || !field->isCurrentFor(model, model.stoppingConcentration())) {
            field = std::make_shared<const ostreljet::ConcentrationField>(
                model, ostreljet::ConcentrationField::Rules::exact);
        }
        return field;
    }
};

namespace {

thread_local std::string lastError;

constexpr int unknownName = OSTRELJET_UNKNOWN_NAME;
constexpr int invalidArgument = OSTRELJET_INVALID_ARGUMENT;
constexpr int internalFailure = OSTRELJET_INTERNAL_ERROR;

// Runs one API body; every exception becomes the status `failure` and the thread's last error.
template <typename Result, typename Body> Result guarded(Result failure, Body &&body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        lastError = "out of memory";
    } catch (const std::exception &e) {
        lastError = e.what();
    } catch (...) {
        lastError = "unknown internal error";
    }
    return failure;
}

// "nx x ny x nz", for messages about a grid.
std::string gridSize(int nx, int ny, int nz) {
    return std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz);
}

template <typename Result> Result fail(Result status, std::string message) {
    lastError = std::move(message);
    return status;
}

// The schema's entry for an input name; null (with the thread's last error) when the name is unknown.
const ostreljet::InputSchema::Input *input(const char *name) {
    const ostreljet::InputSchema::Input *entry =
        name == nullptr ? nullptr : ostreljet::InputSchema::find(name);
    if (entry == nullptr) {
        lastError = name == nullptr ? "null property name" : std::string("unknown property \"") + name + "\"";
    }
    return entry;
}

// The label (or member name) of an enumeration input's value; null when there is none.
const char *labelText(const char *name, int value, bool member) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr || entry->enumeration == nullptr) {
        return nullptr;
    }
    for (const ostreljet::InputSchema::Label &label : entry->enumeration->labels) {
        if (label.value == value) {
            return (member ? label.member : label.label).data();
        }
    }
    return fail<const char *>(nullptr,
                              std::string("property \"") + name + "\" has no value " + std::to_string(value));
}

// The unit named by a word of the C API ("mass", "vol", "%", "ppm", "mg/m3"); null or "" is the
// model's own volume fraction. Nothing (with the thread's last error) for another word.
std::optional<ostreljet::ConcentrationUnit> unitOf(const char *word) {
    if (word == nullptr || *word == '\0') {
        return ostreljet::ConcentrationConverter::modelUnit;
    }
    const std::optional<ostreljet::ConcentrationUnit> unit = ostreljet::parseConcentrationUnit(word);
    if (!unit) {
        lastError =
            std::string("unknown concentration unit \"") + word + "\" (known: mass, vol, %, ppm, mg/m3)";
    }
    return unit;
}

// Converts the model's concentrations at points into a unit; mg/m³ at the jet's mixture temperature from
// the air temperature of the profile at the point's height.
class PointConverter {
public:
    PointConverter(const ostreljet::JetModel &model, ostreljet::ConcentrationUnit unit)
        : converter_(ostreljet::ConcentrationConverter::forModel(model)), air_(model.atmosphere()),
          unit_(unit) {}

    double operator()(double value, double z) {
        if (unit_ == ostreljet::ConcentrationConverter::modelUnit) {
            return value;
        }
        const double airTemperature =
            unit_ == ostreljet::ConcentrationUnit::milligramsPerCubicMetre ? air_.temperatureAt(z) : 0.0;
        return converter_.fromModel(value, unit_, airTemperature);
    }

private:
    ostreljet::ConcentrationConverter converter_;
    ostreljet::Atmosphere air_; // a copy: the profile's queries are not const
    ostreljet::ConcentrationUnit unit_;
};

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

double orNaN(const std::optional<double> &value) {
    return value ? *value : notANumber;
}

// The figures of a summary that do not belong to a level, with their units ("conc": the summary's
// concentration unit).
struct Figure {
    const char *name;
    const char *unit;
    double (*read)(const KeptSummary &);
};

const Figure figures[] = {
    {"greatestCentrelineHeight", "m",
     [](const KeptSummary &k) {
         return k.summary.greatestCentrelineHeight ? k.summary.greatestCentrelineHeight->z : notANumber;
     }},
    {"greatestCentrelineHeightDownwind", "m",
     [](const KeptSummary &k) {
         return k.summary.greatestCentrelineHeight ? k.summary.greatestCentrelineHeight->downwind
                                                   : notANumber;
     }},
    {"greatestCentrelineHeightArcLength", "m",
     [](const KeptSummary &k) {
         return k.summary.greatestCentrelineHeight ? k.summary.greatestCentrelineHeight->arcLength
                                                   : notANumber;
     }},
    {"edgeReachesGroundDownwind", "m",
     [](const KeptSummary &k) { return orNaN(k.summary.edgeReachesGroundDownwind); }},
    {"centrelineReachesGroundDownwind", "m",
     [](const KeptSummary &k) { return orNaN(k.summary.centrelineReachesGroundDownwind); }},
    {"groundMaximum", "conc", [](const KeptSummary &k) { return k.groundMaximum; }},
    {"groundMaximumX", "m",
     [](const KeptSummary &k) {
         return k.summary.groundMaximum ? k.summary.groundMaximum->location.x : notANumber;
     }},
    {"groundMaximumY", "m",
     [](const KeptSummary &k) {
         return k.summary.groundMaximum ? k.summary.groundMaximum->location.y : notANumber;
     }},
    {"groundMaximumDownwind", "m",
     [](const KeptSummary &k) {
         return k.summary.groundMaximum ? k.summary.groundMaximum->location.downwind : notANumber;
     }},
    {"groundMaximumCrosswind", "m",
     [](const KeptSummary &k) {
         return k.summary.groundMaximum ? k.summary.groundMaximum->location.crosswind : notANumber;
     }},
};

struct LevelFigure {
    const char *name;
    const char *unit;
    double (*read)(const KeptSummary &, std::size_t);
};

const LevelFigure levelFigures[] = {
    {"level", "conc", [](const KeptSummary &k, std::size_t i) { return k.levelValues[i]; }},
    {"centrelineDownwindDistance", "m",
     [](const KeptSummary &k, std::size_t i) {
         return orNaN(k.summary.levels[i].centrelineDownwindDistance);
     }},
    {"centrelineArcLength", "m",
     [](const KeptSummary &k, std::size_t i) { return orNaN(k.summary.levels[i].centrelineArcLength); }},
    {"farthestDownwindExtent", "m",
     [](const KeptSummary &k, std::size_t i) { return orNaN(k.summary.levels[i].farthestDownwindExtent); }},
    {"greatestHalfWidth", "m",
     [](const KeptSummary &k, std::size_t i) { return orNaN(k.summary.levels[i].greatestHalfWidth); }},
    {"exceededAtEndOfRun", "-",
     [](const KeptSummary &k, std::size_t i) { return k.summary.levels[i].exceededAtEndOfRun ? 1.0 : 0.0; }},
};

template <typename Entry, std::size_t N> const Entry *findFigure(const Entry (&table)[N], const char *name) {
    if (name != nullptr) {
        for (const Entry &entry : table) {
            if (std::string_view(entry.name) == name) {
                return &entry;
            }
        }
    }
    lastError = std::string("unknown summary figure \"") + (name == nullptr ? "(null)" : name) + "\"";
    return nullptr;
}

template <typename Entry, std::size_t N> const char *figureName(const Entry (&table)[N], int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= N) {
        return fail<const char *>(nullptr, "summary figure index " + std::to_string(index) +
                                               " is outside 0.." + std::to_string(N - 1));
    }
    return table[index].name;
}

// The unit of a figure: the summary's concentration word for concentrations.
template <typename Entry, std::size_t N>
const char *figureUnit(const Entry (&table)[N], const ostreljet_model *m, const char *name) {
    const Entry *entry = findFigure(table, name);
    if (entry == nullptr) {
        return nullptr;
    }
    if (std::string_view(entry->unit) != "conc") {
        return entry->unit;
    }
    const ostreljet::ConcentrationUnit unit =
        m != nullptr && m->summary ? m->summary->unit : ostreljet::ConcentrationConverter::modelUnit;
    return ostreljet::concentrationUnitWord(unit).data();
}

const KeptSummary *keptSummary(const ostreljet_model *m) {
    if (m == nullptr) {
        return fail<const KeptSummary *>(nullptr, "null model");
    }
    if (!m->summary) {
        return fail<const KeptSummary *>(nullptr, "the model has no summary: call ostreljet_summarize first");
    }
    return &*m->summary;
}

} // namespace

extern "C" {

ostreljet_model *ostreljet_create(void) {
    return guarded<ostreljet_model *>(nullptr, [] {
        auto *m = new ostreljet_model();
        m->model.setEvaluationBudget(ostreljet::JetModel::recommendedEvaluationBudget);
        return m;
    });
}

int ostreljet_cancel(ostreljet_model *m) {
    if (m == nullptr) {
        return fail(invalidArgument, "null model");
    }
    m->model.cancel();
    return 0;
}

int ostreljet_set_budget(ostreljet_model *m, unsigned long long evaluations) {
    if (m == nullptr) {
        return fail(invalidArgument, "null model");
    }
    m->model.setEvaluationBudget(evaluations);
    return 0;
}

void ostreljet_destroy(ostreljet_model *m) {
    guarded(0, [m] {
        delete m;
        return 0;
    });
}

int ostreljet_set(ostreljet_model *m, const char *property, double value) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || property == nullptr) {
            return fail(invalidArgument, "null model or property name");
        }
        const ostreljet::PropertyTable::Property *entry = ostreljet::PropertyTable::find(property);
        if (entry == nullptr) {
            return fail(unknownName, std::string("unknown property \"") + property + "\"");
        }
        const std::string shown = ostreljet::io::InputSanity::number(value);
        if (!std::isfinite(value)) {
            return fail(invalidArgument,
                        std::string("property \"") + property + "\" takes a finite number, not " + shown);
        }
        // The enumerations: Pasquill classes 0 (A) to 5 (F), time averaging 0 (short) or 1 (long).
        const double highest = entry->type == ostreljet::PropertyTable::Type::Pasquill        ? 5.0
                               : entry->type == ostreljet::PropertyTable::Type::TimeAveraging ? 1.0
                                                                                              : 0.0;
        if (entry->type != ostreljet::PropertyTable::Type::Double &&
            !(std::floor(value) == value && value >= 0.0 && value <= highest)) {
            return fail(invalidArgument, std::string("property \"") + property +
                                             "\" takes a whole number from 0 to " +
                                             ostreljet::io::InputSanity::number(highest) + ", not " + shown);
        }
        entry->put(m->model, value);
        return OSTRELJET_OK;
    });
}

int ostreljet_get(const ostreljet_model *m, const char *property, double *value) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || property == nullptr || value == nullptr) {
            return fail(invalidArgument, "null model, property name or result pointer");
        }
        const ostreljet::PropertyTable::Property *entry = ostreljet::PropertyTable::find(property);
        if (entry == nullptr) {
            return fail(unknownName, std::string("unknown property \"") + property + "\"");
        }
        *value = entry->get(m->model);
        return 0;
    });
}

int ostreljet_run(ostreljet_model *m) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        const std::string release =
            ostreljet::io::InputSanity::releaseProblem(m->model.stackHeight(), m->model.releaseAngle());
        if (!release.empty()) {
            return fail(invalidArgument, release);
        }
        m->model.setOwnEchoStream(echoOn.load() ? stdout : nullptr);
        m->summary.reset();
        m->severities.clear();
        m->hasRun = false;
        const bool accepted = m->model.runModel();
        // The ending and the severities, without the field's figures.
        const ostreljet::RunSummary ending =
            ostreljet::RunSummary::of(m->model, accepted, {}, [](double, double, double) { return 0.0; });
        m->hasRun = true;
        m->inputsAccepted = accepted;
        m->ending = ending.ending;
        m->endMessage = ending.endMessage;
        for (const ostreljet::RunSummary::Message &message : ending.messages) {
            m->severities.push_back(message.severity);
        }
        return accepted ? 1 : 0;
    });
}

int ostreljet_step_count(const ostreljet_model *m) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        return static_cast<int>(m->model.numberOfOutputSteps());
    });
}

int ostreljet_series(const ostreljet_model *m, const char *series, double *out, int capacity) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || series == nullptr) {
            return fail(invalidArgument, "null model or series name");
        }
        const ostreljet::PropertyTable::Series *entry = ostreljet::PropertyTable::findSeries(series);
        if (entry == nullptr) {
            return fail(unknownName, std::string("unknown series \"") + series + "\"");
        }
        if (capacity < 0 || (out == nullptr && capacity > 0)) {
            return fail(invalidArgument, "negative capacity or null output array");
        }
        const int steps = static_cast<int>(m->model.numberOfOutputSteps());
        const int count = steps < capacity ? steps : capacity;
        for (int k = 0; k < count; ++k) {
            out[k] = entry->at(m->model, static_cast<std::size_t>(k));
        }
        return count;
    });
}

int ostreljet_message_count(const ostreljet_model *m) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        return static_cast<int>(m->model.messageCount());
    });
}

const char *ostreljet_message(const ostreljet_model *m, int index) {
    return guarded<const char *>(nullptr, [&]() -> const char * {
        if (m == nullptr || index < 0 || index >= m->model.messageCount()) {
            return nullptr;
        }
        return m->model.messageText(index).c_str();
    });
}

const char *ostreljet_version(void) {
    return OSTRELJET_VERSION_STRING;
}

int ostreljet_property_count(void) {
    return static_cast<int>(ostreljet::InputSchema::inputs().size());
}

const char *ostreljet_property_name(int index) {
    const auto inputs = ostreljet::InputSchema::inputs();
    if (index < 0 || static_cast<std::size_t>(index) >= inputs.size()) {
        return fail<const char *>(nullptr, "property index " + std::to_string(index) + " is outside 0.." +
                                               std::to_string(inputs.size() - 1));
    }
    return inputs[static_cast<std::size_t>(index)].name.data();
}

const char *ostreljet_property_type(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return nullptr;
    }
    return entry->enumeration == nullptr ? "double" : entry->enumeration->name.data();
}

const char *ostreljet_property_unit(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    return entry == nullptr ? nullptr : entry->unit.data();
}

const char *ostreljet_property_description(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    return entry == nullptr ? nullptr : entry->meaning.data();
}

int ostreljet_property_default(const char *name, double *value) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    if (value == nullptr) {
        return fail(invalidArgument, "null result pointer");
    }
    *value = entry->defaultValue;
    return OSTRELJET_OK;
}

int ostreljet_property_range(const char *name, double *lower, double *upper, int *lower_inclusive,
                             int *upper_inclusive) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    const ostreljet::InputSchema::Range &range = entry->range;
    if (lower != nullptr) {
        *lower = range.lower;
    }
    if (upper != nullptr) {
        *upper = range.upper;
    }
    if (lower_inclusive != nullptr) {
        *lower_inclusive = range.lowerInclusive ? 1 : 0;
    }
    if (upper_inclusive != nullptr) {
        *upper_inclusive = range.upperInclusive ? 1 : 0;
    }
    return OSTRELJET_OK;
}

int ostreljet_property_label_count(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    return entry->enumeration == nullptr ? 0 : static_cast<int>(entry->enumeration->labels.size());
}

const char *ostreljet_property_label(const char *name, int value) {
    return labelText(name, value, false);
}

const char *ostreljet_property_member(const char *name, int value) {
    return labelText(name, value, true);
}

double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    return guarded(notANumber, [&] {
        if (m == nullptr) {
            return fail(notANumber, "null model");
        }
        const std::string point = ostreljet::io::InputSanity::pointProblem(x, y, z);
        if (!point.empty()) {
            return fail(notANumber, point);
        }
        return m->currentField()->concentration(x, y, z);
    });
}

long long ostreljet_concentration_grid(const ostreljet_model *m, double x0, double y0, double z0, double x1,
                                       double y1, double z1, int nx, int ny, int nz, double *out,
                                       long long capacity) {
    return guarded(-1LL, [&] {
        if (m == nullptr) {
            return fail(-1LL, "null model");
        }
        const std::string bounds = ostreljet::io::InputSanity::gridProblem(x0, y0, z0, x1, y1, z1);
        if (!bounds.empty()) {
            return fail(-1LL, bounds);
        }
        if (nx < 0 || ny < 0 || nz < 0) {
            return fail(-1LL, "negative point count in the grid of " + gridSize(nx, ny, nz) + " points");
        }
        const long long total = ostreljet::ConcentrationField::gridPointCount(nx, ny, nz);
        if (total == std::numeric_limits<long long>::max()) {
            return fail(-1LL, "the grid of " + gridSize(nx, ny, nz) +
                                  " points has more points than can be counted");
        }
        if (capacity < 0) {
            return fail(-1LL, "negative output capacity " + std::to_string(capacity));
        }
        if (total > capacity || (out == nullptr && total > 0)) {
            return fail(-1LL, std::string(out == nullptr ? "null output array"
                                                         : "output capacity " + std::to_string(capacity)) +
                                  " is too small for the " + std::to_string(total) + " points of the grid (" +
                                  gridSize(nx, ny, nz) + ")");
        }
        m->currentField()->grid(out, x0, y0, z0, x1, y1, z1, nx, ny, nz, 0);
        return total;
    });
}

int ostreljet_load_scenario(ostreljet_model *m, const char *path) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || path == nullptr) {
            return fail(invalidArgument, "null model or path");
        }
        try {
            const ostreljet::Scenario scenario = ostreljet::Scenario::fromFile(path);
            scenario.applyTo(m->model);
            m->gas = scenario.gas();
        } catch (const ostreljet::ScenarioError &e) {
            return fail(invalidArgument, e.what());
        }
        return 0;
    });
}

int ostreljet_set_echo(int on) {
    return echoOn.exchange(on != 0) ? 1 : 0;
}

int ostreljet_set_gas(ostreljet_model *m, const char *name) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        if (name == nullptr || *name == '\0') {
            m->gas.clear();
            return OSTRELJET_OK;
        }
        const ostreljet::GasTable::Entry *entry = ostreljet::GasTable::find(name);
        if (entry == nullptr) {
            std::string known;
            for (const ostreljet::GasTable::Entry &candidate : ostreljet::GasTable::entries()) {
                known += (known.empty() ? "" : ", ") + std::string(candidate.name);
            }
            return fail(unknownName, std::string("unknown gas \"") + name + "\" (known: " + known + ")");
        }
        // As a scenario's "gas" key: the table's source properties.
        ostreljet::InputSchema::find("sourceMolecularWeight")->put(m->model, entry->molecularWeight);
        ostreljet::InputSchema::find("sourceSpecificHeat")->put(m->model, entry->specificHeat);
        ostreljet::InputSchema::find("sourceSpecificHeatRatio")->put(m->model, entry->specificHeatRatio);
        m->gas = std::string(entry->name);
        return OSTRELJET_OK;
    });
}

const char *ostreljet_gas(const ostreljet_model *m) {
    if (m == nullptr) {
        return fail<const char *>(nullptr, "null model");
    }
    return m->gas.c_str();
}

int ostreljet_gas_count(void) {
    return static_cast<int>(ostreljet::GasTable::entries().size());
}

const char *ostreljet_gas_name(int index) {
    const auto entries = ostreljet::GasTable::entries();
    if (index < 0 || static_cast<std::size_t>(index) >= entries.size()) {
        return fail<const char *>(nullptr, "gas index " + std::to_string(index) + " is outside 0.." +
                                               std::to_string(entries.size() - 1));
    }
    return entries[static_cast<std::size_t>(index)].name.data();
}

int ostreljet_ending(const ostreljet_model *m) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        return m->hasRun ? static_cast<int>(m->ending) : OSTRELJET_ENDING_NOT_RUN;
    });
}

const char *ostreljet_ending_name(int ending) {
    if (ending == OSTRELJET_ENDING_NOT_RUN) {
        return "not run";
    }
    if (ending < OSTRELJET_ENDING_STOPPING_CONCENTRATION || ending > OSTRELJET_ENDING_OTHER) {
        return fail<const char *>(nullptr, "no ending " + std::to_string(ending));
    }
    return ostreljet::RunSummary::endingName(static_cast<ostreljet::RunSummary::Ending>(ending)).data();
}

const char *ostreljet_end_message(const ostreljet_model *m) {
    if (m == nullptr || !m->hasRun || !m->endMessage) {
        return nullptr;
    }
    return m->endMessage->c_str();
}

int ostreljet_message_severity(const ostreljet_model *m, int index) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || index < 0 || static_cast<std::size_t>(index) >= m->severities.size()) {
            return fail(invalidArgument,
                        "null model or message index " + std::to_string(index) + " out of range");
        }
        return static_cast<int>(m->severities[static_cast<std::size_t>(index)]);
    });
}

const char *ostreljet_severity_name(int severity) {
    if (severity < OSTRELJET_INFORMATION || severity > OSTRELJET_ERROR) {
        return fail<const char *>(nullptr, "no severity " + std::to_string(severity));
    }
    return ostreljet::RunSummary::severityName(static_cast<ostreljet::MessageSeverity>(severity)).data();
}

int ostreljet_summarize(ostreljet_model *m, const char *levels, const char *unit) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        const std::optional<ostreljet::ConcentrationUnit> chosen = unitOf(unit);
        if (!chosen) {
            return invalidArgument;
        }
        // 1. The levels as written, or the gas's defaults, in the model's unit.
        std::vector<ostreljet::Level> parsed;
        std::vector<double> inModel;
        try {
            parsed = levels == nullptr || *levels == '\0'
                         ? ostreljet::Level::defaults(m->gas, m->model.stoppingConcentration())
                         : ostreljet::Level::parseList(levels);
            inModel = ostreljet::Level::toModel(parsed, m->model, m->gas);
        } catch (const ostreljet::LevelError &e) {
            return fail(invalidArgument, e.what());
        }
        // 2. The summary of the last run from its exact field; nothing to search before a run.
        KeptSummary kept{m->hasRun ? ostreljet::RunSummary::of(m->model, m->inputsAccepted, inModel)
                                   : ostreljet::RunSummary{},
                         *chosen,
                         {},
                         {},
                         notANumber};
        if (!m->hasRun) {
            for (const double level : inModel) {
                kept.summary.levels.push_back(
                    ostreljet::RunSummary::LevelAnswer{level, {}, {}, {}, {}, false});
            }
        }
        // 3. The concentrations in the chosen unit: levels as thresholds, the ground maximum at its point.
        const ostreljet::ConcentrationConverter converter =
            ostreljet::ConcentrationConverter::forModel(m->model);
        for (std::size_t i = 0; i < parsed.size(); ++i) {
            kept.levelTexts.push_back(parsed[i].text());
            kept.levelValues.push_back(converter.thresholdFromModel(inModel[i], *chosen));
        }
        if (kept.summary.groundMaximum) {
            PointConverter toUnit(m->model, *chosen);
            kept.groundMaximum = toUnit(kept.summary.groundMaximum->concentration, 0.0);
        }
        m->summary = std::move(kept);
        return static_cast<int>(parsed.size());
    });
}

const char *ostreljet_summary_unit(const ostreljet_model *m) {
    const KeptSummary *kept = keptSummary(m);
    return kept == nullptr ? nullptr : ostreljet::concentrationUnitWord(kept->unit).data();
}

int ostreljet_summary_figure_count(void) {
    return static_cast<int>(std::size(figures));
}

const char *ostreljet_summary_figure_name(int index) {
    return figureName(figures, index);
}

const char *ostreljet_summary_figure_unit(const ostreljet_model *m, const char *name) {
    return figureUnit(figures, m, name);
}

double ostreljet_summary_figure(const ostreljet_model *m, const char *name) {
    return guarded(notANumber, [&] {
        const KeptSummary *kept = keptSummary(m);
        const Figure *figure = kept == nullptr ? nullptr : findFigure(figures, name);
        return figure == nullptr ? notANumber : figure->read(*kept);
    });
}

int ostreljet_summary_level_count(const ostreljet_model *m) {
    const KeptSummary *kept = keptSummary(m);
    return kept == nullptr ? invalidArgument : static_cast<int>(kept->levelValues.size());
}

const char *ostreljet_summary_level_text(const ostreljet_model *m, int index) {
    const KeptSummary *kept = keptSummary(m);
    if (kept == nullptr) {
        return nullptr;
    }
    if (index < 0 || static_cast<std::size_t>(index) >= kept->levelTexts.size()) {
        return fail<const char *>(nullptr, "level index " + std::to_string(index) + " out of range");
    }
    return kept->levelTexts[static_cast<std::size_t>(index)].c_str();
}

int ostreljet_summary_level_figure_count(void) {
    return static_cast<int>(std::size(levelFigures));
}

const char *ostreljet_summary_level_figure_name(int index) {
    return figureName(levelFigures, index);
}

const char *ostreljet_summary_level_figure_unit(const ostreljet_model *m, const char *name) {
    return figureUnit(levelFigures, m, name);
}

double ostreljet_summary_level_figure(const ostreljet_model *m, int index, const char *name) {
    return guarded(notANumber, [&] {
        const KeptSummary *kept = keptSummary(m);
        if (kept == nullptr) {
            return notANumber;
        }
        if (index < 0 || static_cast<std::size_t>(index) >= kept->levelValues.size()) {
            return fail(notANumber, "level index " + std::to_string(index) + " out of range");
        }
        const LevelFigure *figure = findFigure(levelFigures, name);
        return figure == nullptr ? notANumber : figure->read(*kept, static_cast<std::size_t>(index));
    });
}

double ostreljet_concentration_unit(const ostreljet_model *m, double x, double y, double z,
                                    const char *unit) {
    return guarded(notANumber, [&] {
        const std::optional<ostreljet::ConcentrationUnit> chosen = unitOf(unit);
        if (!chosen) {
            return notANumber;
        }
        const double value = ostreljet_concentration(m, x, y, z);
        if (std::isnan(value)) {
            return value;
        }
        PointConverter toUnit(m->model, *chosen);
        return toUnit(value, z);
    });
}

long long ostreljet_concentration_grid_unit(const ostreljet_model *m, double x0, double y0, double z0,
                                            double x1, double y1, double z1, int nx, int ny, int nz,
                                            double *out, long long capacity, const char *unit) {
    return guarded(-1LL, [&] {
        const std::optional<ostreljet::ConcentrationUnit> chosen = unitOf(unit);
        if (!chosen) {
            return -1LL;
        }
        const long long written =
            ostreljet_concentration_grid(m, x0, y0, z0, x1, y1, z1, nx, ny, nz, out, capacity);
        if (written <= 0 || *chosen == ostreljet::ConcentrationConverter::modelUnit) {
            return written;
        }
        // z is the innermost axis; the air temperature of each point's height.
        PointConverter toUnit(m->model, *chosen);
        std::vector<double> heights(static_cast<std::size_t>(nz));
        for (int k = 0; k < nz; ++k) {
            heights[static_cast<std::size_t>(k)] =
                ostreljet::ConcentrationField::gridCoordinate(z0, z1, k, nz, false);
        }
        for (long long i = 0; i < written; ++i) {
            out[i] = toUnit(out[i], heights[static_cast<std::size_t>(i % nz)]);
        }
        return written;
    });
}

const char *ostreljet_last_error(void) {
    return lastError.c_str();
}

} // extern "C"
