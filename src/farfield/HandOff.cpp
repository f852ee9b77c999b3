#include "ostreljet/farfield/HandOff.hpp"

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/Correlations.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace ostreljet {

namespace {

constexpr double kGasConstant = 8.31434; // J/(mol K), as the jet equations use
constexpr double kGravity = 9.80665;     // m/s2

// Briggs's distance to final rise for the release's buoyancy flux (written with densities, so that a gas
// lighter than air by its molecular weight counts), m; 0 for a source that is not buoyant.
double finalRiseDistance(const JetModel &model, Atmosphere &air) {
    const JetModel::ExitConditions exit = model.exitConditions();
    const double z = std::max(model.stackHeight(), 0.0);
    const double rhoAir = model.atmospherePressure() * model.atmosphereMolecularWeight() /
                          (kGasConstant * air.temperatureAt(z));
    const double flux =
        kGravity * exit.speed * 0.25 * exit.diameter * exit.diameter * (rhoAir - exit.density) / rhoAir;
    if (!(flux > 0.0))
        return 0.0;
    if (model.pasquillStability() >= 4 && model.pasquillStability() <= 5) {
        // Stable: from the potential temperature gradient of the profile over the stack.
        const double gradient = (air.temperatureAt(z + 10.0) - air.temperatureAt(z)) / 10.0 +
                                kGravity / model.atmosphereSpecificHeat();
        const double stability = correlations::stabilityParameter(gradient, air.temperatureAt(z));
        if (stability > 0.0)
            return correlations::briggsFinalRiseDistanceStable(air.windSpeedAt(std::max(z, 10.0)), stability);
    }
    return correlations::briggsFinalRiseDistanceNeutral(flux);
}

} // namespace

const char *HandOff::describe(Reason reason) {
    switch (reason) {
    case Reason::passiveTransition:
        return "passive transition";
    case Reason::touchdown:
        return "touchdown";
    case Reason::denseTouchdown:
        return "dense touchdown";
    case Reason::endOfJet:
        break;
    }
    return "end of the jet";
}

HandOff HandOff::find(const JetModel &model, const BriggsSigma &sigmas, double sigmaYFactor) {
    // For each step: the centreline mixture against the air at its height, then the three passive tests,
    // then the touchdown tests; the last step is the jet's end.
    Atmosphere air = model.atmosphere();
    const double bearing = model.referenceWindBearing() * std::numbers::pi / 180.0;
    const double wx = std::sin(bearing);
    const double wy = std::cos(bearing);
    const double pressure = model.atmospherePressure();
    const double airWeight = model.atmosphereMolecularWeight();
    const double gasWeight = model.sourceMolecularWeight();
    const double k1 = FarField::kProfileAreaFactor;
    const auto &locations = model.centrelineLocations();
    const auto &velocities = model.centrelineVelocityVectors();
    const auto &radii = model.profileRadii();
    const auto &concentrations = model.centrelineConcentrations();
    const auto &temperatures = model.centrelineTemperatures();
    const std::int32_t n = model.numberOfOutputSteps();

    const double riseEnds = finalRiseDistance(model, air);
    // How far a step is from passing the three passive tests: the greatest of their margins, each 0 where
    // its test is just met (the speed test: excess over its limit, less 1; density and growth alike).
    // The hand-off lies where the margin crosses 0, interpolated between the steps on either side, so
    // that it moves little when the steps do.
    HandOff result;
    HandOff previous;
    // The growth test's margin at step i, `run` m downwind of the step before (infinite at the first step
    // or without a run): its powers are worked out only where the other two tests hold, or for the
    // margin of the step before the hand-off.
    const auto growthMarginAt = [&](std::int32_t i, double run) {
        if (i == 0 || !(run > 0.0))
            return std::numeric_limits<double>::infinity();
        const double sigma = std::sqrt(k1) * radii[i];
        const double xy = sigmas.distanceForSigmaY(sigma / sigmaYFactor);
        const double xz = sigmas.distanceForSigmaZ(sigma);
        const double slopeY = sigmaYFactor * sigmas.sigmaYSlope(xy);
        const double slopeZ = std::isnan(xz) ? slopeY : sigmas.sigmaZSlope(xz);
        const double jetSlope = std::sqrt(k1) * (radii[i] - radii[i - 1]) / run;
        return jetSlope / std::sqrt(slopeY * slopeZ) - 1.0;
    };
    // The step before's density and speed margins and run, for its margin when the hand-off follows it.
    double previousDensityMargin = 0.0;
    double previousSpeedMargin = 0.0;
    double previousRun = 0.0;
    const auto between = [](const HandOff &a, const HandOff &b, double f) {
        const auto mix = [f](double x, double y) { return x + f * (y - x); };
        HandOff h = b;
        h.downwindDistance = mix(a.downwindDistance, b.downwindDistance);
        h.crosswindOffset = mix(a.crosswindOffset, b.crosswindOffset);
        h.height = mix(a.height, b.height);
        h.radius = mix(a.radius, b.radius);
        h.jetConcentration = mix(a.jetConcentration, b.jetConcentration);
        h.centrelineTemperature = mix(a.centrelineTemperature, b.centrelineTemperature);
        h.reducedGravity = mix(a.reducedGravity, b.reducedGravity);
        h.excessSpeed = mix(a.excessSpeed, b.excessSpeed);
        h.ambientSpread = mix(a.ambientSpread, b.ambientSpread);
        h.densityParameter = mix(a.densityParameter, b.densityParameter);
        return h;
    };
    for (std::int32_t i = 0; i < n; ++i) {
        const vector3 &p = locations[i];
        const double z = p.z();
        const double c = concentrations[i];
        const double rp = radii[i];
        const double ta = air.temperatureAt(std::max(z, 0.0));
        const double u = air.windSpeedAt(std::max(z, FarField::kLowestWindHeight));
        const double rhoJet =
            pressure * (c * gasWeight + (1.0 - c) * airWeight) / (kGasConstant * temperatures[i]);
        const double rhoAir = pressure * airWeight / (kGasConstant * ta);
        const double gPrime = kGravity * (rhoJet - rhoAir) / rhoAir;
        const double localWind = z >= FarField::kLowestWindHeight ? u : air.windSpeedAt(std::max(z, 0.0));
        const vector3 &v = velocities[i];
        const double ex = v.x() - localWind * wx;
        const double ey = v.y() - localWind * wy;
        // A buoyant plume's rise is judged by the final-rise distance, so its vertical speed is left out.
        const double vertical = gPrime < 0.0 ? 0.0 : v.z();
        const double excess = std::sqrt(ex * ex + ey * ey + vertical * vertical);
        const double spread = air.verticalVelocitySpread(std::max(z, 0.0));
        const double area = 2.0 * std::numbers::pi * k1 * rp * rp;
        const double parameter = std::cbrt(std::abs(gPrime) * std::sqrt(area) / (u * u));

        const double dx = p.x() - model.stackLocationX();
        const double dy = p.y() - model.stackLocationY();
        result.step = i;
        result.downwindDistance = dx * wx + dy * wy;
        result.crosswindOffset = -dx * wy + dy * wx;
        result.height = z;
        result.radius = rp;
        result.jetConcentration = c;
        result.centrelineTemperature = temperatures[i];
        result.reducedGravity = gPrime;
        result.excessSpeed = excess;
        result.ambientSpread = spread;
        result.densityParameter = parameter;

        const double run = i > 0 ? result.downwindDistance - previous.downwindDistance : 0.0;
        const bool buoyant = gPrime < 0.0 && riseEnds > 0.0;
        const double densityMargin =
            buoyant ? (riseEnds - result.downwindDistance) / riseEnds : parameter / kDensityThreshold - 1.0;
        const double speedMargin = excess / std::min(spread, kExcessSpeedFraction * localWind) - 1.0;
        const bool densityPassive = buoyant ? densityMargin <= 0.0 : densityMargin < 0.0;
        const bool speedPassive = speedMargin <= 0.0;
        result.jetStillActive = !(densityPassive && speedPassive);
        if (i > 0 && densityPassive && speedPassive && growthMarginAt(i, run) <= 0.0) {
            result.reason = Reason::passiveTransition;
            if (i > 1) {
                const double previousMargin = std::max(
                    {previousDensityMargin, previousSpeedMargin, growthMarginAt(i - 1, previousRun)});
                if (previousMargin > 0.0 && std::isfinite(previousMargin)) {
                    const double margin = std::max({densityMargin, speedMargin, growthMarginAt(i, run)});
                    result = between(previous, result, previousMargin / (previousMargin - margin));
                }
            }
            return result;
        }
        const bool dense = gPrime > 0.0 && parameter >= kDensityThreshold;
        // The lower edge alone hands over a dense plume that no longer moves as a jet; one that still does is
        // followed down to the ground by the jet model.
        if (i > 0 && z - rp <= 0.0 && dense && speedPassive) {
            result.reason = Reason::denseTouchdown;
            const double above = previous.height - previous.radius;
            if (above > 0.0)
                result = between(previous, result, above / (above - (z - rp)));
            return result;
        }
        if (i > 0 && z <= 1e-6 * std::max(1.0, rp)) {
            result.reason = dense ? Reason::denseTouchdown : Reason::touchdown;
            return result;
        }
        previous = result;
        previousDensityMargin = densityMargin;
        previousSpeedMargin = speedMargin;
        previousRun = run;
    }
    result.reason = Reason::endOfJet;
    return result;
}

} // namespace ostreljet
