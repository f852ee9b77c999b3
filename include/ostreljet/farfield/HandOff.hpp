#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/BriggsSigma.hpp"

#include <cstdint>

namespace ostreljet {

class JetModel;

// Where a jet run hands over to the far field, and why: the first output step at which (interpolated
// back to where the passive tests' greatest margin, or the lower edge's height, crosses 0)
//  - passive transition: all of
//    . density: for a plume heavier than the air, its density excess no longer matters by the criterion
//      of Britter and McQuaid (1988) for continuous releases, (g' D / u^2)^(1/3) < 0.15, with D the square
//      root of the jet's area (2 pi k1 Rp^2) and u the wind; for a plume lighter than the air, it is past
//      Briggs's distance to final rise for the release's buoyancy flux (EPA-454/B-95-003b, section 1.1.4);
//    . speed: the jet's excess speed over the wind (horizontal only for a rising buoyant plume) is no more
//      than the ambient sigma_w (the profile's vertical velocity spread, 1.25 u* in neutral and stable
//      air; Panofsky and Dutton 1984, Atmospheric Turbulence) nor than 5 % of the wind (a chosen
//      threshold: the passive plume carries the release at the wind speed, so the centreline stays
//      continuous within about that much);
//    . growth: its radius grows downwind no faster than the passive plume's sigma would from the same
//      size (Briggs slopes at the virtual-source distances);
//  - touchdown: the centreline reaches the ground (dense touchdown when the plume is heavier than the air
//    and at or above the density criterion), or the lower edge (height - Rp) does while the plume is dense
//    and its excess speed passes the speed test (a slumping plume that no longer moves as a jet);
//  - the jet's own end: its last output step.
// Plain data once found.
class OSTRELJET_EXPORT HandOff {
public:
    enum class Reason : std::int32_t {
        passiveTransition = 0,
        touchdown = 1,
        denseTouchdown = 2,
        endOfJet = 3
    };

    Reason reason = Reason::endOfJet;
    std::int32_t step = 0;              // the first output step at or past the hand-off
    double downwindDistance = 0.0;      // m from the stack along the wind
    double crosswindOffset = 0.0;       // m, to the left of the wind
    double height = 0.0;                // m, of the centreline
    double radius = 0.0;                // m, the jet's profile radius Rp
    double jetConcentration = 0.0;      // volume fraction on the jet's centreline
    double centrelineTemperature = 0.0; // K
    double reducedGravity = 0.0;        // g' = g (rho - rho_a) / rho_a of the centreline mixture, m/s2
    double excessSpeed = 0.0;           // |jet velocity - wind|, m/s
    double ambientSpread = 0.0;         // sigma_w, m/s
    double densityParameter = 0.0;      // (|g'| D / u^2)^(1/3), -
    bool jetStillActive = false;        // the passive tests did not all hold there

    // The words for a reason: "passive transition", "touchdown", "dense touchdown", "end of the jet".
    static const char *describe(Reason reason);

    static constexpr double kDensityThreshold = 0.15;    // Britter and McQuaid (1988), continuous releases
    static constexpr double kExcessSpeedFraction = 0.05; // of the wind speed, chosen (see above)

    // Finds the hand-off of the model's last run (at least two output steps). sigmas and sigmaYFactor
    // (the averaging time's) give the passive growth the jet's is compared with.
    static HandOff find(const JetModel &model, const BriggsSigma &sigmas, double sigmaYFactor);
};

} // namespace ostreljet
