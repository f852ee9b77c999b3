#include "ostreljet/ostreljet.h"

#include "ostreljet/component/PropertyTable.hpp"
#include "ostreljet/component/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <string>

struct ostreljet_model {
    ostreljet::JetModel model;
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

constexpr int unknownName = -1;
constexpr int invalidArgument = -2;
constexpr int internalFailure = -3;

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
        if (entry->type != ostreljet::PropertyTable::Type::Double &&
            !(std::floor(value) == value && value >= std::numeric_limits<int>::min() &&
              value <= std::numeric_limits<int>::max())) {
            return fail(invalidArgument, std::string("property \"") + property + "\" takes an integer, not " +
                                             std::to_string(value));
        }
        entry->put(m->model, value);
        return 0;
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
        return m->model.runModel() ? 1 : 0;
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
    return ostreljet::JetModel::versionInfo();
}

double ostreljet_concentration(const ostreljet_model *m, double x, double y, double z) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    return guarded(notANumber, [&] {
        if (m == nullptr) {
            return fail(notANumber, "null model");
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
            ostreljet::Scenario::fromFile(path).applyTo(m->model);
        } catch (const ostreljet::ScenarioError &e) {
            return fail(invalidArgument, e.what());
        }
        return 0;
    });
}

const char *ostreljet_last_error(void) {
    return lastError.c_str();
}

} // extern "C"
