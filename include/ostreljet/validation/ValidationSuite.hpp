#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet {

// A bad cases file: the message names the file and the case or key at fault.
class OSTRELJET_EXPORT ValidationSuiteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The usual figures of dispersion-model evaluation, in the literature's convention with the correlation in
// the place of the observation (Co) and the model's figure in that of the prediction (Cp): MG above 1 means
// the model is lower than the correlation.
struct AgreementStatistics {
    std::size_t count = 0;          // pairs that entered the figures (both finite and positive)
    double geometricMean = 0.0;     // MG = exp(mean ln(correlation / model)), -
    double geometricVariance = 0.0; // VG = exp(mean (ln(correlation / model))^2), -
    double factorOfTwo = 0.0;       // FAC2: share of pairs with model / correlation from 0.5 to 2, -
};

// One comparison: the model's figure and the correlation's at one point of one case.
struct ValidationPoint {
    std::string label;                // the case
    double position = 0.0;            // where the figure is taken: downwind or axial distance, m
    double model = 0.0;               // the model's figure (NaN when the run did not reach the point)
    double correlation = 0.0;         // the correlation's figure, in the same unit
    double ratio = 0.0;               // model / correlation
    double modelDistance = 0.0;       // for maximum and final rises: the model's distance to it, m (else NaN)
    double correlationDistance = 0.0; // and the correlation's, m (else NaN)
    double sensitivity = 0.0;         // the model's figure with the case's sensitivity inputs (else NaN)
    std::string note;                 // what limited the run or the point, if anything
};

// What is known about one correlation and how the model compares with it.
struct CorrelationResult {
    std::string id;               // key in the cases file, e.g. "briggs-two-thirds"
    std::string title;            // e.g. "Buoyant plume rise, Briggs two-thirds law"
    std::string formula;          // the formula in plain text
    std::string source;           // citation, and the second source its constants were checked against
    std::string validity;         // the range of validity the cases sweep
    std::string method;           // how the model was set up and how its figure was taken
    std::string figure;           // what is compared, e.g. "plume rise above the stack"
    std::string unit;             // unit of the figure, e.g. "m" or "mass fraction"
    std::string sensitivityLabel; // what the sensitivity runs change, empty when there are none
    std::vector<ValidationPoint> points;
    AgreementStatistics statistics;
    std::string verdict; // one line
};

// The validation suite: cases from a JSON file, each a model run compared with a published correlation.
// File layout: {"defaults": {<correlation id>: {<scenario inputs>}}, "cases": [{"correlation": id,
// "label": text, "inputs": {<scenario inputs>}, "at": [numbers], "sensitivity": {"label": text,
// "inputs": {...}}}]}. A case's inputs override its correlation's defaults; "at" lists downwind
// distances in m ("briggs-two-thirds"), multiples of r D ("pratte-baines") or of D ("chen-rodi").
class OSTRELJET_EXPORT ValidationSuite {
public:
    // The most a cases file may hold; a larger file, a device or a FIFO without writer is refused.
    static constexpr std::size_t kMaximumFileBytes = 4 * 1024 * 1024;
    static ValidationSuite fromFile(const std::string &path);
    static ValidationSuite fromText(std::string_view text, const std::string &sourceName = "cases");
    // The project's own cases (validation/cases.json), built into the library.
    static ValidationSuite builtIn();
    static constexpr const char *builtInName = "validation/cases.json (built in)";

    // The correlation ids the suite knows, in report order.
    static const std::vector<std::string> &correlationIds();

    // Number of model runs that run() makes (cases plus sensitivity runs).
    std::size_t runCount() const;

    // Called after each model run with the runs done, the total and the case's label.
    using Progress = std::function<void(std::size_t done, std::size_t total, const std::string &label)>;
    // Runs every case and compares; one result per correlation that has cases, in report order.
    std::vector<CorrelationResult> run(const Progress &progress = {}) const;

    // MG, VG and FAC2 over the pairs (correlation, model) whose values are both finite and positive.
    static AgreementStatistics statistics(const std::vector<double> &correlation,
                                          const std::vector<double> &model);
    // One line that says how well the model agrees, from the statistics.
    static std::string verdict(const AgreementStatistics &statistics);

    struct Case {
        std::string correlation;
        std::string label;
        std::string scenario;   // the merged inputs as a scenario text
        std::vector<double> at; // evaluation points, see the file layout
        std::string sensitivityLabel;
        std::string sensitivityScenario; // empty when the case has none
    };
    const std::vector<Case> &cases() const { return cases_; }

private:
    std::vector<Case> cases_;
    std::string sourceName_;
};

} // namespace ostreljet
