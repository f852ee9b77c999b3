#pragma once

#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/platform/Dispatch.hpp"

// The dual interface of the jet model object: early-bound through this table of operations, late-bound
// through the dispatch operations it inherits.
namespace ostreljet {

// {9B9C34C3-5C2E-4D87-B9BB-F3D770271793}
constexpr platform::IID IID_IOstreljetModel{
    0x9B9C34C3, 0x5C2E, 0x4D87, {0xB9, 0xBB, 0xF3, 0xD7, 0x70, 0x27, 0x17, 0x93}};

// The operations in their fixed order (an early-bound client depends on it); the comment gives each one's
// dispatch identifier. Every operation returns S_OK except for the allocation failures of the array
// exports. Out parameters are written without a null check.
class IOstreljetModel : public platform::IDispatch {
public:
    using HRESULT = platform::HRESULT;
    using LONG = platform::LONG;
    using BSTR = platform::BSTR;
    using VARIANT = platform::VARIANT;
    using VARIANT_BOOL = platform::VARIANT_BOOL;

    virtual HRESULT get_stackHeight(double *pVal) = 0; // 1, m
    virtual HRESULT put_stackHeight(double newVal) = 0;
    virtual HRESULT get_orificeDiameter(double *pVal) = 0; // 3, m
    virtual HRESULT put_orificeDiameter(double newVal) = 0;
    virtual HRESULT get_stackLocationX(double *pVal) = 0; // 4, m east
    virtual HRESULT put_stackLocationX(double newVal) = 0;
    virtual HRESULT get_stackLocationY(double *pVal) = 0; // 5, m north
    virtual HRESULT put_stackLocationY(double newVal) = 0;
    virtual HRESULT get_releaseAngle(double *pVal) = 0; // 6, degrees above horizontal
    virtual HRESULT put_releaseAngle(double newVal) = 0;
    virtual HRESULT get_dischargeCoefficient(double *pVal) = 0; // 7, -
    virtual HRESULT put_dischargeCoefficient(double newVal) = 0;
    virtual HRESULT get_massFlowrate(double *pVal) = 0; // 8, kg/s
    virtual HRESULT put_massFlowrate(double newVal) = 0;
    virtual HRESULT get_atmosphereMolecularWeight(double *pVal) = 0; // 9, kg/mol
    virtual HRESULT put_atmosphereMolecularWeight(double newVal) = 0;
    virtual HRESULT get_atmospherePressure(double *pVal) = 0; // 10, Pa
    virtual HRESULT put_atmospherePressure(double newVal) = 0;
    virtual HRESULT get_atmosphereSpecificHeat(double *pVal) = 0; // 11, J/(kg K)
    virtual HRESULT put_atmosphereSpecificHeat(double newVal) = 0;
    virtual HRESULT get_atmosphereTemperature(double *pVal) = 0; // 12, K
    virtual HRESULT put_atmosphereTemperature(double newVal) = 0;
    virtual HRESULT get_atmosphereSurfaceRoughness(double *pVal) = 0; // 13, m
    virtual HRESULT put_atmosphereSurfaceRoughness(double newVal) = 0;
    virtual HRESULT get_referenceWindHeight(double *pVal) = 0; // 14, m
    virtual HRESULT put_referenceWindHeight(double newVal) = 0;
    virtual HRESULT get_referenceWindSpeed(double *pVal) = 0; // 15, m/s
    virtual HRESULT put_referenceWindSpeed(double newVal) = 0;
    virtual HRESULT get_referenceWindBearing(double *pVal) = 0; // 16, degrees
    virtual HRESULT put_referenceWindBearing(double newVal) = 0;
    virtual HRESULT get_sourceMolecularWeight(double *pVal) = 0; // 17, kg/mol
    virtual HRESULT put_sourceMolecularWeight(double newVal) = 0;
    virtual HRESULT get_sourceSpecificHeat(double *pVal) = 0; // 18, J/(kg K)
    virtual HRESULT put_sourceSpecificHeat(double newVal) = 0;
    virtual HRESULT get_sourceSpecificHeatRatio(double *pVal) = 0; // 19, -
    virtual HRESULT put_sourceSpecificHeatRatio(double newVal) = 0;
    virtual HRESULT get_sourceTemperature(double *pVal) = 0; // 20, K
    virtual HRESULT put_sourceTemperature(double newVal) = 0;
    virtual HRESULT get_timeAveraging(TIME_AVERAGING *pVal) = 0; // 21
    virtual HRESULT put_timeAveraging(TIME_AVERAGING newVal) = 0;
    virtual HRESULT get_stoppingConcentration(double *pVal) = 0; // 22, mass fraction
    virtual HRESULT put_stoppingConcentration(double newVal) = 0;
    virtual HRESULT get_pasquillStability(PASQUILL *pVal) = 0; // 23
    virtual HRESULT put_pasquillStability(PASQUILL newVal) = 0;
    // 24: 1 when the inputs passed validation and the jet was integrated, else 0.
    virtual HRESULT runModel(VARIANT_BOOL *pVal) = 0;
    virtual HRESULT get_stackBearing(double *pVal) = 0; // 25, degrees
    virtual HRESULT put_stackBearing(double newVal) = 0;
    // 27: mass fraction at a point of the site frame (m).
    virtual HRESULT getConcentration(double x, double y, double z, double *concentration) = 0;
    // 29: the message texts as a one-dimensional array of string variants.
    virtual HRESULT getErrorMessages(VARIANT *messages) = 0;
    virtual HRESULT get_versionInfo(BSTR *pVal) = 0; // 30
    // 38: a 4 x N array of double variants: x, y, z (m) and the concentration of each grid point.
    virtual HRESULT getConcentrationArray(double xStart, double yStart, double zStart, double xEnd,
                                          double yEnd, double zEnd, LONG NumberOfPointsX,
                                          LONG NumberOfPointsY, LONG NumberOfPointsZ,
                                          VARIANT *concentrations) = 0;
    virtual HRESULT get_messageCount(LONG *pVal) = 0;                               // 28
    virtual HRESULT get_profileRadius(LONG outputstep, double *pVal) = 0;           // 31, m
    virtual HRESULT get_centrelineConcentration(LONG outputstep, double *pVal) = 0; // 32, fraction
    virtual HRESULT get_centrelineTemperature(LONG outputstep, double *pVal) = 0;   // 33, K
    virtual HRESULT get_arclength(LONG outputstep, double *pVal) = 0;               // 34, m
    // 35: Index 1, 2, 3 selects x, y, z (m); outputstep counts from 0.
    virtual HRESULT get_centrelineLocation(LONG Index, LONG outputstep, double *pVal) = 0;
    virtual HRESULT numberOfOutputSteps(LONG *numberOfSteps) = 0;              // 36
    virtual HRESULT get_centrelineVelocity(LONG outputstep, double *pVal) = 0; // 37, m/s
};

} // namespace ostreljet
