// The C API's answers in the engineer's units: the run's summary and concentrations in a chosen unit.
#include "Handle.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/inputs/NumberText.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/units/Level.hpp"

#include <cmath>
#include <limits>

using namespace ostreljet::capi;

namespace {

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
    {"notComputedBeyondDownwind", "m",
     [](const KeptSummary &k) { return orNaN(k.summary.notComputedBeyondDownwind()); }},
    {"groundMaximumInFarField", "-",
     [](const KeptSummary &k) {
         return k.summary.groundMaximum ? (k.summary.groundMaximum->inFarField ? 1.0 : 0.0) : notANumber;
     }},
    {"stoppingConcentration", "conc", [](const KeptSummary &k) { return k.stoppingConcentration; }},
    {"stoppingConcentrationLoweredFrom", "conc", [](const KeptSummary &k) { return k.loweredFrom; }},
    {"groundMaximumComputed", "-",
     [](const KeptSummary &k) { return k.summary.groundMaximumComputed ? 1.0 : 0.0; }},
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
    {"regionComputed", "-",
     [](const KeptSummary &k, std::size_t i) { return k.summary.levels[i].regionComputed ? 1.0 : 0.0; }},
    {"regionOpen", "-",
     [](const KeptSummary &k, std::size_t i) { return k.summary.levels[i].regionOpen ? 1.0 : 0.0; }},
    {"centrelineInFarField", "-",
     [](const KeptSummary &k, std::size_t i) {
         return k.summary.levels[i].centrelineInFarField ? 1.0 : 0.0;
     }},
    {"regionInFarField", "-",
     [](const KeptSummary &k, std::size_t i) { return k.summary.levels[i].regionInFarField ? 1.0 : 0.0; }},
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
            const bool defaults = levels == nullptr || *levels == '\0';
            parsed = defaults ? ostreljet::Level::defaults(m->gas, m->model.stoppingConcentration())
                              : ostreljet::Level::parseList(levels);
            if (defaults && parsed.size() == 1 && !(m->model.stoppingConcentration() > 0.0)) {
                // The default of a gas without a flammability limit is the stopping concentration.
                return fail(invalidArgument,
                            "no levels given, and the default level, the stopping "
                            "concentration, is not set (stoppingConcentration is " +
                                ostreljet::inputs::NumberText::shown(m->model.stoppingConcentration()) + ")");
            }
            inModel = ostreljet::Level::toModel(parsed, m->model, m->gas);
        } catch (const ostreljet::LevelError &e) {
            return fail(invalidArgument, e.what());
        }
        // 2. A level below the run's stopping concentration: the run again, stopping at half the lowest
        // level.
        if (m->hasRun && m->inputsAccepted &&
            ostreljet::EngineeringRun::stoppingConcentrationFor(m->model.stoppingConcentration(), inModel) <
                m->model.stoppingConcentration()) {
            ostreljet::EngineeringRun::Preparation again =
                ostreljet::EngineeringRun::prepare(m->model, inModel);
            if (m->preparation.loweredFrom) {
                again.loweredFrom = m->preparation.loweredFrom; // the value the user gave
            }
            m->inputsAccepted = ostreljet::EngineeringRun::runPrepared(m->model, again);
            ostreljet::RunSummary ending = ostreljet::RunSummary::of(
                m->model, m->inputsAccepted, {}, [](double, double, double) { return 0.0; });
            ostreljet::EngineeringRun::complete(ending, again);
            m->preparation = again;
            m->recordRun(ending);
        }
        // 3. The summary of the last run from its exact field; nothing to search before a run. The
        // searches keep to what is left of the run's budget and stop on a cancel made after they start.
        m->summaryCancelled.store(false);
        KeptSummary kept{ostreljet::RunSummary{}, *chosen, {}, {}, notANumber};
        if (m->hasRun) {
            ostreljet::RunSummary::Limits limits = ostreljet::RunSummary::limitsAfterRun(m->model);
            limits.cancelled = [m] { return m->summaryCancelled.load(); };
            kept.summary = ostreljet::WholePlumeSummary::summarise(
                m->model, m->inputsAccepted, m->preparation, inModel, *m->currentField(), limits);
        } else {
            // Nothing was searched before a run: no region and no ground-level maximum were computed.
            for (const double level : inModel) {
                kept.summary.levels.push_back(
                    ostreljet::RunSummary::LevelAnswer{level, {}, {}, {}, {}, false, false});
            }
            kept.summary.groundMaximumComputed = false;
        }
        // 4. The concentrations in the chosen unit: levels as thresholds, the ground maximum at its point.
        const ostreljet::ConcentrationConverter converter =
            ostreljet::ConcentrationConverter::forModel(m->model);
        kept.stoppingConcentration = converter.thresholdFromModel(m->model.stoppingConcentration(), *chosen);
        kept.loweredFrom =
            kept.summary.stoppingConcentrationLoweredFrom
                ? converter.thresholdFromModel(*kept.summary.stoppingConcentrationLoweredFrom, *chosen)
                : notANumber;
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

const char *ostreljet_summary_cut_message(const ostreljet_model *m) {
    const KeptSummary *kept = m != nullptr && m->summary ? &*m->summary : nullptr;
    if (kept == nullptr || kept->summary.cut == ostreljet::RunSummary::Cut::none ||
        kept->summary.messages.empty()) {
        return nullptr;
    }
    return kept->summary.messages.back().text.c_str();
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

} // extern "C"
