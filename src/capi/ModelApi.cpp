// The C API's model: its life, inputs, run, series, messages, gas and the concentration field of its run.
#include "Handle.hpp"
#include "ostreljet/inputs/InputRefusal.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"

#include "ostreljet/Version.hpp"
#include "ostreljet/farfield/FarFieldInputs.hpp"
#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/InputSanity.hpp"
#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/inputs/Scenario.hpp"

#include <cmath>
#include <cstdio>
#include <limits>

using namespace ostreljet::capi;

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
    m->summaryCancelled.store(true);
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
        if (const ostreljet::FarFieldInputs::Input *far = ostreljet::FarFieldInputs::find(property)) {
            ostreljet::FarFieldOptions options = m->farFieldOptions;
            const std::string problem = ostreljet::FarFieldInputs::set(options, *far, value);
            if (!problem.empty()) {
                return fail(invalidArgument, problem);
            }
            m->setFarFieldOptions(options);
            return OSTRELJET_OK;
        }
        const ostreljet::PropertyTable::Property *entry = ostreljet::PropertyTable::find(property);
        if (entry == nullptr) {
            return fail(unknownName, std::string("unknown property \"") + property + "\"");
        }
        const std::string shown = ostreljet::inputs::InputSanity::number(value);
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
            return fail(invalidArgument,
                        std::string("property \"") + property + "\" takes a whole number from 0 to " +
                            ostreljet::inputs::InputSanity::number(highest) + ", not " + shown);
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
        if (const ostreljet::FarFieldInputs::Input *far = ostreljet::FarFieldInputs::find(property)) {
            *value = ostreljet::FarFieldInputs::get(m->farFieldOptions, *far);
            return 0;
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
            ostreljet::inputs::InputSanity::releaseProblem(m->model.stackHeight(), m->model.releaseAngle());
        if (!release.empty()) {
            return fail(invalidArgument, release);
        }
        m->model.setOwnEchoStream(echoOn.load() ? stdout : nullptr);
        m->summary.reset();
        m->severities.clear();
        m->messages.clear();
        m->hasRun = false;
        // As every engineering front runs: the weather checked first.
        const ostreljet::EngineeringRun::Preparation preparation =
            ostreljet::EngineeringRun::prepare(m->model, {});
        const bool accepted = ostreljet::EngineeringRun::runPrepared(m->model, preparation);
        // The ending, the status and the severities, without the field's figures.
        ostreljet::RunSummary ending =
            ostreljet::RunSummary::of(m->model, accepted, {}, [](double, double, double) { return 0.0; });
        ostreljet::EngineeringRun::complete(ending, preparation);
        ostreljet::InputRefusal::annotate(ending, m->model);
        m->hasRun = true;
        m->inputsAccepted = accepted;
        m->preparation = preparation;
        m->recordRun(ending);
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
        return m->hasRun ? static_cast<int>(m->messages.size()) : static_cast<int>(m->model.messageCount());
    });
}

const char *ostreljet_message(const ostreljet_model *m, int index) {
    return guarded<const char *>(nullptr, [&]() -> const char * {
        if (m == nullptr || index < 0) {
            return nullptr;
        }
        if (m->hasRun) {
            return static_cast<std::size_t>(index) < m->messages.size()
                       ? m->messages[static_cast<std::size_t>(index)].c_str()
                       : nullptr;
        }
        return index < m->model.messageCount() ? m->model.messageText(index).c_str() : nullptr;
    });
}

const char *ostreljet_version(void) {
    return OSTRELJET_VERSION_STRING;
}

double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    return guarded(notANumber, [&] {
        if (m == nullptr) {
            return fail(notANumber, "null model");
        }
        const std::string point = ostreljet::inputs::InputSanity::pointProblem(x, y, z);
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
        const std::string bounds = ostreljet::inputs::InputSanity::gridProblem(x0, y0, z0, x1, y1, z1);
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
            m->setFarFieldOptions(scenario.farFieldOptions());
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

int ostreljet_status(const ostreljet_model *m) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        return m->hasRun ? static_cast<int>(m->status) : OSTRELJET_STATUS_NOT_RUN;
    });
}

const char *ostreljet_status_name(int status) {
    if (status == OSTRELJET_STATUS_NOT_RUN) {
        return "not run";
    }
    if (status < OSTRELJET_STATUS_OK || status > OSTRELJET_STATUS_INVALID) {
        return fail<const char *>(nullptr, "no status " + std::to_string(status));
    }
    return ostreljet::runStatusName(static_cast<ostreljet::RunStatus>(status)).data();
}

int ostreljet_computed(const ostreljet_model *m, double x, double y, double z) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        const std::string point = ostreljet::inputs::InputSanity::pointProblem(x, y, z);
        if (!point.empty()) {
            return fail(invalidArgument, point);
        }
        return m->currentField()->computed(x, y, z) ? 1 : 0;
    });
}

const char *ostreljet_last_error(void) {
    return lastError.c_str();
}

} // extern "C"
