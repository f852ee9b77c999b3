#include "ostreljet/weather/ExceedanceStudy.hpp"

#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/mapping/Footprint.hpp"
#include "ostreljet/mapping/PlumeField.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace ostreljet::weather {

namespace {

// Coarse resolution of the footprint searches that size a study's grid (nodes along a side).
constexpr std::int32_t kReachSearchPoints = 81;

double bearingIn360(double degrees) {
    double b = std::fmod(degrees, 360.0);
    if (b < 0.0) {
        b += 360.0;
    }
    return b;
}

// Runs one case in a fresh model: the outcome, and the model for its field when computed.
CaseOutcome runCase(const Scenario &scenario, const WeatherCase &weather, JetModel &model) {
    // Phases: the run with the weather's checks; its status from a summary without searches; the
    // message that says why when the status is not ok.
    scenario.applyTo(model);
    applyWeatherCase(weather, model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
    const EngineeringRun::Preparation preparation = EngineeringRun::prepare(model, {});
    const bool accepted = EngineeringRun::runPrepared(model, preparation);
    RunSummary summary = RunSummary::of(model, accepted, {}, [](double, double, double) { return 0.0; });
    EngineeringRun::complete(summary, preparation);
    CaseOutcome outcome;
    outcome.computed = summary.succeeded() && model.numberOfOutputSteps() > 0;
    if (summary.status != RunStatus::ok) {
        for (const RunSummary::Message &m : summary.messages) {
            if (m.severity == MessageSeverity::error) {
                outcome.message = m.text;
                break;
            }
        }
        if (outcome.message.empty() && summary.endMessage) {
            outcome.message = *summary.endMessage;
        }
    }
    if (!outcome.computed && outcome.message.empty()) {
        outcome.message = "the run gave no output steps";
    }
    return outcome;
}

unsigned threadCount(unsigned threads, std::size_t cases) {
    const unsigned wanted = threads == 0 ? std::max(1u, std::thread::hardware_concurrency()) : threads;
    return static_cast<unsigned>(std::max<std::size_t>(1, std::min<std::size_t>(wanted, cases)));
}

} // namespace

void applyWeatherCase(const WeatherCase &weather, JetModel &model) {
    const double scenarioWind = model.referenceWindBearing();
    const double caseWind = weather.windBearing();
    model.setStackBearing(bearingIn360(model.stackBearing() + (caseWind - scenarioWind)));
    model.setReferenceWindBearing(caseWind);
    model.setReferenceWindSpeed(weather.windSpeed);
    model.setPasquillStability(weather.pasquillStability);
    if (weather.atmosphereTemperature) {
        model.setAtmosphereTemperature(*weather.atmosphereTemperature);
    }
}

void addCase(ExceedanceResult &result, const mapping::PlaneValues &values, double frequency) {
    for (std::size_t l = 0; l < result.levels.size(); ++l) {
        const double level = result.levels[l];
        mapping::PlaneValues &p = result.probability[l];
        for (std::size_t k = 0; k < values.size(); ++k) {
            if (values[k] >= level) {
                p[k] += frequency;
            }
        }
    }
    for (std::size_t k = 0; k < values.size(); ++k) {
        result.worst[k] = std::max(result.worst[k], values[k]);
    }
}

ExceedanceResult computeExceedance(const Scenario &scenario, const WeatherRose &rose,
                                   const std::vector<double> &levels, const mapping::PlaneGrid &grid,
                                   unsigned threads, const StudyProgress &progress) {
    const std::vector<WeatherCase> &cases = rose.cases();
    ExceedanceResult result;
    result.grid = grid;
    result.levels = levels;
    const auto points = static_cast<std::size_t>(std::max<std::int64_t>(grid.size(), 0));
    result.probability.assign(levels.size(), mapping::PlaneValues(points, 0.0));
    result.worst.assign(points, 0.0);
    result.outcomes.resize(cases.size());
    result.cutCases.assign(levels.size(), 0);
    result.cutFrequency.assign(levels.size(), 0.0);
    result.farField = scenario.farFieldOptions().enabled;
    if (!result.farField) {
        JetModel probe;
        scenario.applyTo(probe);
        for (const double level : levels) {
            if (level < probe.stoppingConcentration()) {
                char text[200];
                std::snprintf(text, sizeof text,
                              "the level %.4g volume fraction is below the scenario's stopping concentration "
                              "(%.4g volume fraction), under which no field is computed",
                              level, probe.stoppingConcentration());
                throw std::invalid_argument(text);
            }
        }
    }

    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t committed = 0; // cases added so far, in order
    std::exception_ptr failure;
    const auto work = [&]() {
        for (std::size_t c = next++; c < cases.size(); c = next++) {
            mapping::PlaneValues values;
            CaseOutcome outcome;
            std::vector<char> cut(levels.size(), 0);
            try {
                JetModel model;
                outcome = runCase(scenario, cases[c], model);
                if (outcome.computed) {
                    const mapping::PlumeField field(model, scenario.farFieldOptions());
                    values = field.sample(grid, 1);
                    for (std::size_t l = 0; l < levels.size(); ++l) {
                        cut[l] = field.cutByEndOfRun(levels[l]) ? 1 : 0;
                    }
                }
            } catch (...) {
                const std::lock_guard lock(mutex);
                if (!failure) {
                    failure = std::current_exception();
                }
            }
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return committed == c; });
            if (outcome.computed && !failure) {
                addCase(result, values, cases[c].frequency);
                for (std::size_t l = 0; l < levels.size(); ++l) {
                    if (cut[l] != 0) {
                        ++result.cutCases[l];
                        result.cutFrequency[l] += cases[c].frequency;
                    }
                }
            } else if (!failure) {
                ++result.refusedCases;
                result.refusedFrequency += cases[c].frequency;
            }
            result.outcomes[c] = std::move(outcome);
            ++committed;
            changed.notify_all();
        }
    };
    const unsigned count = threadCount(threads, cases.size());
    std::vector<std::thread> workers;
    workers.reserve(count);
    for (unsigned t = 0; t < count; ++t) {
        workers.emplace_back(work);
    }
    {
        std::unique_lock lock(mutex);
        std::size_t shown = static_cast<std::size_t>(-1);
        while (committed < cases.size()) {
            if (progress && shown != committed) {
                shown = committed;
                lock.unlock();
                progress(static_cast<std::int64_t>(shown), static_cast<std::int64_t>(cases.size()));
                lock.lock();
            }
            changed.wait_for(lock, std::chrono::milliseconds(100));
        }
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    if (progress) {
        progress(static_cast<std::int64_t>(cases.size()), static_cast<std::int64_t>(cases.size()));
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    return result;
}

std::optional<double> greatestReach(const Scenario &scenario, const WeatherRose &rose, double level, double z,
                                    unsigned threads) {
    const std::vector<WeatherCase> &cases = rose.cases();
    std::vector<std::optional<double>> reach(cases.size());
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::exception_ptr failure;
    const auto work = [&]() {
        for (std::size_t c = next++; c < cases.size(); c = next++) {
            try {
                JetModel model;
                if (!runCase(scenario, cases[c], model).computed) {
                    continue;
                }
                const mapping::PlumeField field(model, scenario.farFieldOptions());
                mapping::FootprintSearch search;
                search.points = kReachSearchPoints;
                search.searchPoints = kReachSearchPoints;
                search.threads = 1;
                const mapping::Footprint footprint = mapping::findFootprint(field, level, z, search);
                double farthest = -1.0;
                for (const mapping::Polygon &polygon : footprint.polygons) {
                    for (const mapping::Point &p : polygon.outer) {
                        farthest =
                            std::max(farthest, std::hypot(p.x - field.sourceX(), p.y - field.sourceY()));
                    }
                }
                if (farthest >= 0.0) {
                    reach[c] = farthest;
                }
            } catch (...) {
                const std::lock_guard lock(mutex);
                if (!failure) {
                    failure = std::current_exception();
                }
            }
        }
    };
    const unsigned count = threadCount(threads, cases.size());
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < count; ++t) {
        workers.emplace_back(work);
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    std::optional<double> greatest;
    for (const std::optional<double> &r : reach) {
        if (r && (!greatest || *r > *greatest)) {
            greatest = r;
        }
    }
    return greatest;
}

std::vector<ProbabilityReach> probabilityReach(const mapping::PlaneGrid &grid,
                                               const mapping::PlaneValues &probability,
                                               const std::vector<double> &probabilities, double sourceX,
                                               double sourceY) {
    const std::vector<double> xs = grid.xs();
    const std::vector<double> ys = grid.ys();
    std::vector<ProbabilityReach> out;
    for (const double p : probabilities) {
        ProbabilityReach reach;
        reach.probability = p;
        for (std::int32_t i = 0; i < grid.nx; ++i) {
            for (std::int32_t j = 0; j < grid.ny; ++j) {
                const std::size_t k = static_cast<std::size_t>(i) * static_cast<std::size_t>(grid.ny) +
                                      static_cast<std::size_t>(j);
                if (probability[k] >= p) {
                    const double d = std::hypot(xs[static_cast<std::size_t>(i)] - sourceX,
                                                ys[static_cast<std::size_t>(j)] - sourceY);
                    if (!reach.distance || d > *reach.distance) {
                        reach.distance = d;
                    }
                    if (i == 0 || j == 0 || i == grid.nx - 1 || j == grid.ny - 1) {
                        reach.atEdge = true;
                    }
                }
            }
        }
        out.push_back(reach);
    }
    return out;
}

} // namespace ostreljet::weather
