#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/units/ConcentrationUnit.hpp"

namespace ostreljet {

class JetModel;

// Converts concentrations of released gas between the jet model's own unit and the units engineers use.
//
// The jet model's concentrations (centreline series, concentration field, stopping concentration) are
// volume (mole) fractions: the centreline value is fc Ma / (fc Ma + (1 - fc) Ms) of the centreline mass
// fraction fc.
//
// mg/m³ at a point of the jet is the mass of released gas per cubic metre of the local mixture at the
// ambient pressure, its temperature the jet's own mixing rule at the local mass fraction c:
// T = (c cps Ts + (1 - c) cpa Ta) / (c cps + (1 - c) cpa), source gas at the source temperature mixed with
// air at the ambient temperature of that height.
// A threshold given in mg/m³ (a level) is converted as released gas diluted in air at the ambient
// temperature (the atmosphere temperature input) and pressure, as exposure limits are stated.
class OSTRELJET_EXPORT ConcentrationConverter {
public:
    // The model's own concentration unit.
    static constexpr ConcentrationUnit modelUnit = ConcentrationUnit::volumeFraction;

    struct Mixture {
        double sourceMolecularWeight; // Ms, kg/mol
        double airMolecularWeight;    // Ma, kg/mol
        double pressure;              // ambient pressure, Pa
        double sourceTemperature;     // Ts, K
        double sourceSpecificHeat;    // cps, J/(kg K)
        double airSpecificHeat;       // cpa, J/(kg K)
        double ambientTemperature;    // air temperature for thresholds, K
    };

    explicit ConcentrationConverter(const Mixture &mixture);
    // The mixture of a model's inputs (source gas, air, pressure, atmosphere temperature).
    static ConcentrationConverter forModel(const JetModel &model);

    const Mixture &mixture() const { return mixture_; }

    // x = (c / Ms) / (c / Ms + (1 - c) / Ma), and its inverse c = x Ms / (x Ms + (1 - x) Ma).
    static double volumeFractionFromMassFraction(double massFraction, double sourceMolecularWeight,
                                                 double airMolecularWeight);
    static double massFractionFromVolumeFraction(double volumeFraction, double sourceMolecularWeight,
                                                 double airMolecularWeight);

    // Temperature (K) of the jet's mixture at mass fraction c where the air is at ambientTemperature (K).
    double mixtureTemperature(double massFraction, double ambientTemperature) const;

    // A concentration of the model (volume fraction) in `unit`, at a point where the air is at
    // ambientTemperature (K); the temperature matters for mg/m³ only.
    double fromModel(double modelValue, ConcentrationUnit unit, double ambientTemperature) const;
    // A threshold in `unit` as a concentration of the model, and back; mg/m³ at the ambient temperature
    // and pressure of the mixture.
    double thresholdToModel(double value, ConcentrationUnit unit) const;
    double thresholdFromModel(double modelValue, ConcentrationUnit unit) const;

private:
    // Mass of released gas (mg/m³) at volume fraction x in a mixture at temperature t (K).
    double milligramsPerCubicMetre(double volumeFraction, double temperature) const;

    Mixture mixture_;
};

} // namespace ostreljet
