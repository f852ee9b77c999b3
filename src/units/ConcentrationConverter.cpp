#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include "ostreljet/jet/JetModel.hpp"

namespace ostreljet {

namespace {

constexpr double gasConstant = constants::gasConstant; // J/(mol K)
constexpr double milligramsPerKilogram = 1e6;          // mg/kg
constexpr double percentPerFraction = 100.0;           // %
constexpr double ppmPerFraction = 1e6;                 // ppm

} // namespace

ConcentrationConverter::ConcentrationConverter(const Mixture &mixture) : mixture_(mixture) {}

ConcentrationConverter ConcentrationConverter::forModel(const JetModel &model) {
    return ConcentrationConverter(Mixture{model.sourceMolecularWeight(), model.atmosphereMolecularWeight(),
                                          model.atmospherePressure(), model.sourceTemperature(),
                                          model.sourceSpecificHeat(), model.atmosphereSpecificHeat(),
                                          model.atmosphereTemperature()});
}

double ConcentrationConverter::volumeFractionFromMassFraction(double c, double ms, double ma) {
    const double source = c / ms;
    return source / (source + (1.0 - c) / ma);
}

double ConcentrationConverter::massFractionFromVolumeFraction(double x, double ms, double ma) {
    const double source = x * ms;
    return source / (source + (1.0 - x) * ma);
}

double ConcentrationConverter::mixtureTemperature(double c, double ambientTemperature) const {
    const double sourceHeat = c * mixture_.sourceSpecificHeat;
    const double airHeat = (1.0 - c) * mixture_.airSpecificHeat;
    return (sourceHeat * mixture_.sourceTemperature + airHeat * ambientTemperature) / (sourceHeat + airHeat);
}

double ConcentrationConverter::milligramsPerCubicMetre(double x, double temperature) const {
    return milligramsPerKilogram * mixture_.pressure * mixture_.sourceMolecularWeight * x /
           (gasConstant * temperature);
}

double ConcentrationConverter::fromModel(double x, ConcentrationUnit unit, double ambientTemperature) const {
    switch (unit) {
    case ConcentrationUnit::massFraction:
        return massFractionFromVolumeFraction(x, mixture_.sourceMolecularWeight, mixture_.airMolecularWeight);
    case ConcentrationUnit::volumeFraction:
        return x;
    case ConcentrationUnit::percentByVolume:
        return x * percentPerFraction;
    case ConcentrationUnit::ppmByVolume:
        return x * ppmPerFraction;
    case ConcentrationUnit::milligramsPerCubicMetre: {
        const double c =
            massFractionFromVolumeFraction(x, mixture_.sourceMolecularWeight, mixture_.airMolecularWeight);
        return milligramsPerCubicMetre(x, mixtureTemperature(c, ambientTemperature));
    }
    }
    return x;
}

double ConcentrationConverter::thresholdToModel(double value, ConcentrationUnit unit) const {
    switch (unit) {
    case ConcentrationUnit::massFraction:
        return volumeFractionFromMassFraction(value, mixture_.sourceMolecularWeight,
                                              mixture_.airMolecularWeight);
    case ConcentrationUnit::volumeFraction:
        return value;
    case ConcentrationUnit::percentByVolume:
        return value / percentPerFraction;
    case ConcentrationUnit::ppmByVolume:
        return value / ppmPerFraction;
    case ConcentrationUnit::milligramsPerCubicMetre:
        return value / milligramsPerCubicMetre(1.0, mixture_.ambientTemperature);
    }
    return value;
}

double ConcentrationConverter::thresholdFromModel(double x, ConcentrationUnit unit) const {
    if (unit == ConcentrationUnit::milligramsPerCubicMetre) {
        return milligramsPerCubicMetre(x, mixture_.ambientTemperature);
    }
    return fromModel(x, unit, mixture_.ambientTemperature);
}

} // namespace ostreljet
