#include "ostreljet/farfield/FarField.hpp"

#include "ostreljet/farfield/AveragingTime.hpp"
#include "ostreljet/farfield/GaussianPlume.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <sstream>

namespace ostreljet {

namespace {

// The Gaussian's spread at the hand-off, m, from the jet's matched one, sigma (m), at height h (m) under
// the lid (m). The jet's profile ends at the ground and the lid while the Gaussian folds its tails back
// by reflection, which would raise the axis concentration by the vertical factor there (up to twice, at
// the ground). Widening both spreads by s, where the factor equals s^2, keeps the axis at the jet's
// value and the flux at the release rate. Phases: bracket s from 1 (the factor is at least 1 there),
// doubling until s^2 passes the factor, then bisect.
double reflectedSpread(double sigma, double h, double lid) {
    const auto excess = [&](double s) { return GaussianPlume::verticalFactor(h, h, s * sigma, lid) - s * s; };
    if (!(sigma > 0.0) || !(excess(1.0) > 0.0))
        return sigma;
    double low = 1.0, high = 2.0;
    while (excess(high) > 0.0 && high < 1e6)
        high *= 2.0;
    for (int i = 0; i < 100 && high - low > 1e-15 * high; ++i) {
        const double mid = 0.5 * (low + high);
        (excess(mid) > 0.0 ? low : high) = mid;
    }
    return 0.5 * (low + high) * sigma;
}

constexpr double kGasConstant = 8.31434; // J/(mol K), as the jet equations use
constexpr double kGravity = 9.80665;     // m/s2
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kSeriesPoints = 240; // series points between the hand-off and the end

std::string metres(double value) {
    std::ostringstream text;
    text.precision(4);
    text << value << " m";
    return text.str();
}

} // namespace

FarField::FarField(const JetModel &model, const FarFieldOptions &options) {
    // The hand-off, the air there, then a dense plume when the touchdown is dense, the passive plume's
    // virtual source, the continuity at the hand-off, and the series to the end.
    if (!options.enabled || model.numberOfOutputSteps() < 2)
        return;
    Atmosphere air = model.atmosphere();
    const double bearing = model.referenceWindBearing() * std::numbers::pi / 180.0;
    windX_ = std::sin(bearing);
    windY_ = std::cos(bearing);
    stackX_ = model.stackLocationX();
    stackY_ = model.stackLocationY();
    lid_ = air.boundaryLayerHeight();
    sigmas_.emplace(options.dispersion, model.pasquillStability());
    passive_.sigmaYFactor = AveragingTime::sigmaYFactor(options.averagingTime);
    handOff_ = HandOff::find(model, *sigmas_, passive_.sigmaYFactor);
    axisOffset_ = handOff_.crosswindOffset;
    computed_ = true;

    if (handOff_.reason == HandOff::Reason::endOfJet && handOff_.jetStillActive)
        warnings_.push_back("The jet was still active where it ended, " + metres(handOff_.downwindDistance) +
                            " downwind: the far field starts there.");
    if (options.averagingTime < AveragingTime::kFloor)
        warnings_.push_back("The averaging time is below 18.75 s: the far field uses 18.75 s.");

    double height = std::max(handOff_.height, 0.0);
    if (height >= lid_) {
        warnings_.push_back(
            "The plume is at or above the top of the mixing layer (" + metres(lid_) +
            ") at the hand-off: the far field keeps it at the top, reflected within the layer.");
        height = lid_;
    }
    ambientTemperature_ = air.temperatureAt(height);
    windSpeed_ = air.windSpeedAt(std::max(height, kLowestWindHeight));
    const double pressure = model.atmospherePressure();
    gasVolumeFlux_ =
        model.massFlowrate() / model.sourceMolecularWeight() * kGasConstant * ambientTemperature_ / pressure;

    passiveStart_ = handOff_.downwindDistance;
    passive_.height = height;
    passive_.sigmaY0 = reflectedSpread(std::sqrt(kProfileAreaFactor) * handOff_.radius, height, lid_);
    passive_.sigmaZ0 = passive_.sigmaY0;

    if (handOff_.reason == HandOff::Reason::denseTouchdown) {
        // The workbook's source is the release itself; the touchdown sits where its curves give the jet's
        // centreline concentration.
        const double sourceTemperature = model.sourceTemperature();
        const double rho0 = pressure * model.sourceMolecularWeight() / (kGasConstant * sourceTemperature);
        const double rhoAir =
            pressure * model.atmosphereMolecularWeight() / (kGasConstant * ambientTemperature_);
        const double reduced = kGravity * (rho0 - rhoAir) / rhoAir;
        if (reduced <= 0.0) {
            warnings_.push_back("The released gas is lighter than the air at its source temperature, so the "
                                "dense-plume correlations do not apply: the far field is passive from the "
                                "touchdown.");
        } else {
            BritterMcQuaidPlume plume(model.massFlowrate() / rho0, reduced, windSpeed_,
                                      ambientTemperature_ / sourceTemperature);
            if (!plume.withinFits())
                warnings_.push_back("The dense plume's alpha is outside the correlations' range -1 to 1: its "
                                    "concentrations are read at the nearest end of the range.");
            if (handOff_.excessSpeed > handOff_.ambientSpread)
                warnings_.push_back("The plume still carries momentum at the touchdown: the dense-plume "
                                    "correlations, made for releases without it, may not hold.");
            double start = plume.distanceToRatio(handOff_.jetConcentration);
            if (std::isnan(start) && handOff_.jetConcentration > plume.ratioAt(plume.firstCurveDistance())) {
                warnings_.push_back("The centreline concentration at the touchdown is above the dense-plume "
                                    "correlations' first curve: the dense plume starts on that curve.");
                start = plume.firstCurveDistance();
            }
            const double parameter = plume.densityParameter();
            if (!std::isnan(start) && parameter >= BritterMcQuaidPlume::kDenseThreshold) {
                // The density excess stops mattering where (g0' V0 / (u^3 D(x)))^(1/3) < 0.15, with the local
                // width D(x) = D / sqrt(c'): at c' = (0.15 / parameter)^6.
                const double passiveIsothermal =
                    std::pow(BritterMcQuaidPlume::kDenseThreshold / parameter, 6.0);
                const double k = ambientTemperature_ / sourceTemperature;
                const double passiveRatio =
                    passiveIsothermal * k / (1.0 - passiveIsothermal + passiveIsothermal * k);
                double end = plume.distanceToRatio(passiveRatio);
                if (std::isnan(end) || end > plume.lastCurveDistance())
                    end = plume.lastCurveDistance();
                if (end > start) {
                    dense_.emplace(plume);
                    denseStart_.virtualDistance = start;
                    denseStart_.flux = gasVolumeFlux_;
                    passiveStart_ = handOff_.downwindDistance + (end - start);
                    const double halfWidth = denseHalfWidth(passiveStart_);
                    const double depth = denseDepth(passiveStart_);
                    passive_.height = 0.0;
                    passive_.sigmaY0 = 2.0 * halfWidth / std::sqrt(2.0 * std::numbers::pi);
                    passive_.sigmaZ0 = 2.0 * depth / std::sqrt(2.0 * std::numbers::pi);
                }
            }
        }
    }

    const BriggsSigma &s = *sigmas_;
    passive_.virtualY = s.distanceForSigmaY(passive_.sigmaY0 / passive_.sigmaYFactor);
    passive_.virtualZ = s.distanceForSigmaZ(passive_.sigmaZ0);
    if (std::isnan(passive_.virtualZ))
        warnings_.push_back("The plume's vertical spread at the hand-off (" + metres(passive_.sigmaZ0) +
                            ") is beyond what the Briggs curve of this class reaches (" +
                            metres(s.sigmaZLimit()) + "): the far field holds it there.");

    const double atHandOff = dense_ ? denseRatioAt(handOff_.downwindDistance)
                                    : valueAt(handOff_.downwindDistance, 0.0, passive_.height);
    continuityRatio_ = atHandOff / handOff_.jetConcentration;
    buildSeries(options.lowestLevel, options.distance);
    if (options.distance <= handOff_.downwindDistance)
        warnings_.push_back("The far field's distance (" + metres(options.distance) +
                            ") does not reach past the hand-off (" + metres(handOff_.downwindDistance) +
                            ").");
}

double FarField::sigmaY(double downwind) const {
    return passive_.sigmaYFactor * sigmas_->sigmaY(downwind - passiveStart_ + passive_.virtualY);
}

double FarField::sigmaZ(double downwind) const {
    if (std::isnan(passive_.virtualZ))
        return passive_.sigmaZ0;
    return sigmas_->sigmaZ(downwind - passiveStart_ + passive_.virtualZ);
}

double FarField::denseRatioAt(double downwind) const {
    return dense_->ratioAt(denseStart_.virtualDistance + (downwind - handOff_.downwindDistance));
}

double FarField::denseHalfWidth(double downwind) const {
    return dense_->halfWidth(denseStart_.virtualDistance + (downwind - handOff_.downwindDistance));
}

double FarField::denseDepth(double downwind) const {
    // From continuity: the flux of released gas through a box of the plume's width and depth.
    return denseStart_.flux / (2.0 * denseHalfWidth(downwind) * windSpeed_ * denseRatioAt(downwind));
}

double FarField::valueAt(double downwind, double crosswind, double z) const {
    if (dense_ && downwind < passiveStart_) {
        if (std::abs(crosswind) > denseHalfWidth(downwind) || z < 0.0 || z > denseDepth(downwind))
            return 0.0;
        return denseRatioAt(downwind);
    }
    return GaussianPlume::concentration(gasVolumeFlux_, windSpeed_, sigmaY(downwind), sigmaZ(downwind),
                                        crosswind, z, passive_.height, lid_);
}

FarFieldPoint FarField::pointAt(double downwind) const {
    FarFieldPoint point{};
    point.downwindDistance = downwind;
    if (dense_ && downwind < passiveStart_) {
        point.regime = FarFieldRegime::dense;
        point.height = 0.0;
        point.sigmaY = 2.0 * denseHalfWidth(downwind) / std::sqrt(2.0 * std::numbers::pi);
        point.sigmaZ = 2.0 * denseDepth(downwind) / std::sqrt(2.0 * std::numbers::pi);
        point.centrelineConcentration = denseRatioAt(downwind);
        point.groundLevelConcentration = point.centrelineConcentration;
        return point;
    }
    // valueAt's Gaussian on the axis and at the ground below it, with the widths worked out once.
    point.regime = FarFieldRegime::passive;
    point.height = passive_.height;
    point.sigmaY = sigmaY(downwind);
    point.sigmaZ = sigmaZ(downwind);
    const double heights[2] = {passive_.height, 0.0};
    double values[2];
    GaussianPlume::concentrations(gasVolumeFlux_, windSpeed_, point.sigmaY, point.sigmaZ, 0.0, heights, 2,
                                  passive_.height, lid_, values);
    point.centrelineConcentration = values[0];
    point.groundLevelConcentration = values[1];
    return point;
}

void FarField::buildSeries(double lowestLevel, double distance) {
    // Distances spaced evenly in the logarithm of the distance past the hand-off, with the start of the
    // passive plume among them; the series stops once the plume is below a tenth of the lowest level.
    const double start = handOff_.downwindDistance;
    endDistance_ = std::max(distance, start);
    const double span = distance - start;
    std::vector<double> distances{start};
    const double first = std::min(0.01, span / 1000.0);
    for (int k = 0; span > 0.0 && k < kSeriesPoints; ++k)
        distances.push_back(k + 1 == kSeriesPoints
                                ? distance
                                : start + first * std::pow(span / first, k / double(kSeriesPoints - 1)));
    if (passiveStart_ > start && passiveStart_ < distance)
        distances.push_back(passiveStart_);
    std::sort(distances.begin(), distances.end());
    series_.clear();
    endsAtDistance_ = true;
    for (double d : distances) {
        FarFieldPoint point = pointAt(d);
        series_.push_back(point);
        if (lowestLevel > 0.0 && d > passiveStart_ &&
            std::max(point.centrelineConcentration, point.groundLevelConcentration) < 0.1 * lowestLevel) {
            endDistance_ = d;
            endsAtDistance_ = false;
            return;
        }
    }
}

double FarField::downwindDistanceOf(double x, double y) const {
    return (x - stackX_) * windX_ + (y - stackY_) * windY_;
}

double FarField::concentration(double x, double y, double z) const {
    if (!computed_)
        return kNaN;
    const double dx = x - stackX_;
    const double dy = y - stackY_;
    const double downwind = dx * windX_ + dy * windY_;
    const double crosswind = -dx * windY_ + dy * windX_ - axisOffset_;
    if (!(downwind >= handOff_.downwindDistance && downwind <= endDistance_))
        return kNaN;
    return valueAt(downwind, crosswind, z);
}

void FarField::concentrations(double x, double y, const double *z, std::int64_t count, double *out) const {
    // As concentration() at each height, with the downwind distance, the widths and the crosswind factor
    // found once.
    if (!computed_) {
        std::fill(out, out + count, kNaN);
        return;
    }
    const double dx = x - stackX_;
    const double dy = y - stackY_;
    const double downwind = dx * windX_ + dy * windY_;
    const double crosswind = -dx * windY_ + dy * windX_ - axisOffset_;
    if (!(downwind >= handOff_.downwindDistance && downwind <= endDistance_)) {
        std::fill(out, out + count, kNaN);
    } else if (dense_ && downwind < passiveStart_) {
        const double half = denseHalfWidth(downwind);
        const double depth = denseDepth(downwind);
        const double ratio = denseRatioAt(downwind);
        for (std::int64_t k = 0; k < count; ++k)
            out[k] = std::abs(crosswind) > half || z[k] < 0.0 || z[k] > depth ? 0.0 : ratio;
    } else {
        GaussianPlume::concentrations(gasVolumeFlux_, windSpeed_, sigmaY(downwind), sigmaZ(downwind),
                                      crosswind, z, count, passive_.height, lid_, out);
    }
}

double FarField::centrelineAt(double downwind) const {
    if (!computed_ || !(downwind >= handOff_.downwindDistance && downwind <= endDistance_))
        return kNaN;
    return pointAt(downwind).centrelineConcentration;
}

double FarField::groundLevelAt(double downwind) const {
    if (!computed_ || !(downwind >= handOff_.downwindDistance && downwind <= endDistance_))
        return kNaN;
    return pointAt(downwind).groundLevelConcentration;
}

std::optional<FarField::Extent> FarField::levelExtent(double level) const {
    // The last series point at or above the level, then bisection towards the next.
    auto peak = [&](double d) {
        const FarFieldPoint p = pointAt(d);
        return std::max(p.centrelineConcentration, p.groundLevelConcentration);
    };
    std::size_t last = series_.size();
    for (std::size_t i = 0; i < series_.size() && series_[i].downwindDistance <= endDistance_; ++i)
        if (std::max(series_[i].centrelineConcentration, series_[i].groundLevelConcentration) >= level)
            last = i;
    if (last == series_.size())
        return std::nullopt;
    if (last + 1 == series_.size() || series_[last + 1].downwindDistance > endDistance_) {
        if (peak(endDistance_) >= level)
            return Extent{endDistance_, true};
    }
    double low = series_[last].downwindDistance;
    double high =
        std::min(last + 1 < series_.size() ? series_[last + 1].downwindDistance : endDistance_, endDistance_);
    for (int i = 0; i < 80 && high - low > 1e-9 * high; ++i) {
        const double middle = 0.5 * (low + high);
        (peak(middle) >= level ? low : high) = middle;
    }
    return Extent{low, false};
}

std::optional<double> FarField::centrelineFallsBelow(double level) const {
    // The first series point below the level, then bisection towards the one before.
    if (!computed_ || series_.empty())
        return std::nullopt;
    std::size_t first = series_.size();
    for (std::size_t i = 0; i < series_.size() && series_[i].downwindDistance <= endDistance_; ++i) {
        if (series_[i].centrelineConcentration < level) {
            first = i;
            break;
        }
    }
    if (first == series_.size())
        return centrelineAt(endDistance_) < level ? std::optional<double>(endDistance_) : std::nullopt;
    if (first == 0)
        return series_[0].downwindDistance;
    double low = series_[first - 1].downwindDistance;
    double high = series_[first].downwindDistance;
    for (int i = 0; i < 80 && high - low > 1e-9 * high; ++i) {
        const double middle = 0.5 * (low + high);
        (pointAt(middle).centrelineConcentration >= level ? low : high) = middle;
    }
    return high;
}

std::optional<double> FarField::levelHalfWidth(double level) const {
    std::optional<double> widest;
    for (std::size_t i = 0; i < series_.size() && series_[i].downwindDistance <= endDistance_; ++i) {
        const FarFieldPoint &p = series_[i];
        // The passive plume reflected at the ground is richer there than at its axis height once sigma_z
        // is comparable to that height, and is widest at whichever of the two is the richer.
        const double peak = std::max(p.centrelineConcentration, p.groundLevelConcentration);
        if (peak >= level && level > 0.0) {
            // The dense plume is uniform across its width; the passive one Gaussian.
            const double half = p.regime == FarFieldRegime::dense
                                    ? denseHalfWidth(p.downwindDistance)
                                    : p.sigmaY * std::sqrt(2.0 * std::log(peak / level));
            widest = std::max(widest.value_or(0.0), std::abs(axisOffset_) + half);
        }
    }
    return widest;
}

std::pair<double, double> FarField::axisPointAt(double downwind) const {
    return {stackX_ + downwind * windX_ - axisOffset_ * windY_,
            stackY_ + downwind * windY_ + axisOffset_ * windX_};
}

std::optional<FarField::Maximum> FarField::groundLevelMaximum() const {
    // The largest series value, then a golden-section search between its neighbours.
    std::size_t best = series_.size();
    for (std::size_t i = 0; i < series_.size() && series_[i].downwindDistance <= endDistance_; ++i)
        if (series_[i].groundLevelConcentration > 0.0 &&
            (best == series_.size() ||
             series_[i].groundLevelConcentration > series_[best].groundLevelConcentration))
            best = i;
    if (best == series_.size())
        return std::nullopt;
    double a = series_[best > 0 ? best - 1 : 0].downwindDistance;
    double b = std::min(series_[std::min(best + 1, series_.size() - 1)].downwindDistance, endDistance_);
    const double ratio = (std::sqrt(5.0) - 1.0) / 2.0;
    for (int i = 0; i < 100 && b - a > 1e-9 * b; ++i) {
        const double c = b - ratio * (b - a);
        const double d = a + ratio * (b - a);
        if (pointAt(c).groundLevelConcentration >= pointAt(d).groundLevelConcentration)
            b = d;
        else
            a = c;
    }
    const double at = 0.5 * (a + b);
    const double value = pointAt(at).groundLevelConcentration;
    if (value >= series_[best].groundLevelConcentration)
        return Maximum{at, value};
    return Maximum{series_[best].downwindDistance, series_[best].groundLevelConcentration};
}

std::string_view FarField::endReason() const {
    return endsAtDistance_ ? "the far-field distance" : "below a tenth of the lowest level";
}

} // namespace ostreljet
