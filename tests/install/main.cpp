// Runs a small vent release through the installed library and prints where the jet ends.
#include <ostreljet/Version.hpp>
#include <ostreljet/inputs/InputSchema.hpp>
#include <ostreljet/jet/JetModel.hpp>

#include <cstdio>

int main() {
    ostreljet::JetModel model;
    const std::pair<const char *, double> inputs[] = {{"stackHeight", 10.0},
                                                      {"orificeDiameter", 0.2},
                                                      {"releaseAngle", 90.0},
                                                      {"massFlowrate", 1.0},
                                                      {"sourceMolecularWeight", 0.016},
                                                      {"sourceSpecificHeat", 2200.0},
                                                      {"sourceSpecificHeatRatio", 1.3},
                                                      {"sourceTemperature", 300.0},
                                                      {"atmosphereSurfaceRoughness", 0.1},
                                                      {"atmosphereSpecificHeat", 1005.0},
                                                      {"stoppingConcentration", 0.01}};
    for (const auto &[name, value] : inputs) {
        ostreljet::InputSchema::find(name)->put(model, value);
    }
    if (!model.runModel() || model.numberOfOutputSteps() < 2) {
        std::fprintf(stderr, "consumer: the run failed\n");
        return 1;
    }
    const std::int32_t last = model.numberOfOutputSteps() - 1;
    std::printf(
        "ostreljet %s: %d steps, ends at x = %.2f m, z = %.2f m, concentration %.4f (mass fraction)\n",
        OSTRELJET_VERSION_STRING, last + 1, model.centrelineLocation(1, last),
        model.centrelineLocation(3, last), model.centrelineConcentration(last));
    return 0;
}
