#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/BriggsSigma.hpp"
#include "ostreljet/farfield/BritterMcQuaidPlume.hpp"
#include "ostreljet/farfield/HandOff.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostreljet {

class JetModel;

// The plume past the jet: from the hand-off plane of a finished jet run, a dense ground-level plume
// (Britter and McQuaid) after a dense touchdown and then, or at once, a passive Gaussian plume from a
// virtual source, reflected at the ground and at the top of the mixing layer, out to the far field's end.
// Built once from a run; immutable afterwards, so any number of threads may query one at once.
// Units: m, s, volume fractions; downwind distances are measured from the stack along the wind.

// What a far field is asked for.
struct FarFieldOptions {
    bool enabled = true;                                       // false: no far field
    FarFieldDispersion dispersion = FarFieldDispersion::rural; // the Briggs sigma set
    double averagingTime = 600.0;                              // s, for sigma_y
    double distance = 10000.0;                                 // m downwind of the stack, the far field's end
    double lowestLevel = 0.0; // volume fraction; the far field also ends where its centreline falls below a
                              // tenth of it (0: no such end)
};

enum class FarFieldRegime : std::int32_t { dense = 0, passive = 1 };

// One point of the far-field series.
struct FarFieldPoint {
    double downwindDistance;         // m from the stack
    double height;                   // m, of the plume's axis
    double sigmaY;                   // m (in the dense plume, the Gaussian width of equal area)
    double sigmaZ;                   // m (likewise)
    double centrelineConcentration;  // volume fraction, on the axis
    double groundLevelConcentration; // volume fraction, at ground level below the axis
    FarFieldRegime regime;
};

class OSTRELJET_EXPORT FarField {
public:
    // No far field: computed() is false.
    FarField() = default;
    // From the model's last run. A run with fewer than two output steps gives no far field.
    FarField(const JetModel &model, const FarFieldOptions &options);

    bool computed() const { return computed_; }
    const HandOff &handOff() const { return handOff_; }
    // Far-field centreline over the jet's, at the hand-off plane.
    double continuityRatio() const { return continuityRatio_; }
    const std::vector<FarFieldPoint> &series() const { return series_; }
    // Warnings and notes of the far field, in the engineer's words.
    const std::vector<std::string> &warnings() const { return warnings_; }

    // Where the far field ends (m downwind of the stack) and whether that is the requested distance
    // (else the centreline fell below a tenth of the lowest level).
    double endDistance() const { return endDistance_; }
    bool endsAtDistance() const { return endsAtDistance_; }
    // Why it ends there: "the far-field distance" or "below a tenth of the lowest level".
    std::string_view endReason() const;
    // Where the dense plume gives way to the passive one, m downwind (the hand-off when there is no
    // dense plume).
    double passiveStart() const { return passiveStart_; }

    // Concentration (volume fraction) at a point of the site frame (m). NaN ahead of the hand-off plane
    // and beyond the far field's end, where the far field computes nothing.
    double concentration(double x, double y, double z) const;
    // The same at the heights z[0..count) (m) above one site point (x, y), into out: what the heights
    // share is found once.
    void concentrations(double x, double y, const double *z, std::int64_t count, double *out) const;
    // On the axis and at ground level below it, at a downwind distance (m); NaN outside the far field.
    double centrelineAt(double downwind) const;
    double groundLevelAt(double downwind) const;
    // Downwind distance of a site point from the stack, m.
    double downwindDistanceOf(double x, double y) const;

    // The farthest downwind distance (m) where the axis or the ground below it is at or above a level
    // (volume fraction); empty when the far field never reaches it. atEnd: still exceeded at the end.
    struct Extent {
        double downwind;
        bool atEnd;
    };
    std::optional<Extent> levelExtent(double level) const;
    // Where the axis concentration first falls below a level, m downwind (the hand-off when it is below
    // there already); empty when it is still at or above the level at the far field's end.
    std::optional<double> centrelineFallsBelow(double level) const;
    // The greatest distance across the wind from the downwind line through the stack (m) at which the
    // far field, at its axis height or at the ground (whichever is the richer, c), is at or above a level:
    // the axis offset plus, at the widest series point, the Gaussian half-width sigma_y sqrt(2 ln(c/level))
    // of the passive plume or the whole half-width of the dense one (uniform across); empty when neither
    // the axis nor the ground below it reaches the level.
    std::optional<double> levelHalfWidth(double level) const;
    // Crosswind position of the far field's axis, m from the downwind line through the stack.
    double axisOffset() const { return axisOffset_; }
    // The site point (m east, m north) at a downwind distance on the far field's axis.
    std::pair<double, double> axisPointAt(double downwind) const;
    // The greatest ground-level concentration of the far field and where.
    struct Maximum {
        double downwind; // m
        double value;    // volume fraction
    };
    std::optional<Maximum> groundLevelMaximum() const;

    // What the passive plume uses.
    double windSpeed() const { return windSpeed_; }         // m/s
    double gasVolumeFlux() const { return gasVolumeFlux_; } // m3/s of released gas at the plume's air
    double mixingHeight() const { return lid_; }            // m
    double ambientTemperature() const { return ambientTemperature_; } // K, at the plume's height
    double sigmaY(double downwind) const;                             // m, passive plume
    double sigmaZ(double downwind) const;                             // m, passive plume

    // sigma = sqrt(k1) Rp matches the jet's profile (a raised cosine to the power 1/1.35 of radius Rp,
    // whose area integral is 2 pi k1 Rp^2) in both centreline and area integral.
    static constexpr double kProfileAreaFactor = 0.18266892; // k1, -
    // Wind for plumes lower than this is taken at this height (the height of the Briggs curves and of
    // the workbook's wind speed), m.
    static constexpr double kLowestWindHeight = 10.0;

private:
    struct Passive {
        double height = 0.0;       // m
        double sigmaY0 = 0.0;      // m at the passive start
        double sigmaZ0 = 0.0;      // m
        double virtualY = 0.0;     // m, distance of the virtual source for sigma_y
        double virtualZ = 0.0;     // m, for sigma_z; NaN when sigma_z is held at sigmaZ0
        double sigmaYFactor = 1.0; // averaging time, -
    };
    struct Dense {
        double virtualDistance = 0.0; // m from the workbook's source at the touchdown
        double flux = 0.0;            // m3/s of released gas at ambient temperature
    };

    double denseRatioAt(double downwind) const;
    double denseHalfWidth(double downwind) const;
    double denseDepth(double downwind) const;
    FarFieldPoint pointAt(double downwind) const;
    double valueAt(double downwind, double crosswind, double z) const;
    void buildSeries(double lowestLevel, double distance);

    bool computed_ = false;
    HandOff handOff_;
    double continuityRatio_ = 0.0;
    std::vector<FarFieldPoint> series_;
    std::vector<std::string> warnings_;
    double endDistance_ = 0.0;
    bool endsAtDistance_ = true;
    double passiveStart_ = 0.0;

    double stackX_ = 0.0, stackY_ = 0.0; // m
    double windX_ = 1.0, windY_ = 0.0;   // unit vector along the wind
    double axisOffset_ = 0.0;            // m, crosswind position of the far field's axis
    double windSpeed_ = 0.0;             // m/s
    double gasVolumeFlux_ = 0.0;         // m3/s
    double lid_ = 0.0;                   // m
    double ambientTemperature_ = 0.0;    // K
    std::optional<BriggsSigma> sigmas_;
    Passive passive_;
    std::optional<BritterMcQuaidPlume> dense_;
    Dense denseStart_;
};

} // namespace ostreljet
