#pragma once

#include "ostreljet/component/IOstreljetModel.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/platform/ProvideClassInfo.hpp"

#include <optional>

// The component object: the dual interface, the jet model it forwards to, and the class information.
namespace ostreljet {

// A model object is used by one caller at a time: its reference count is not atomic and nothing locks.
// It may be aggregated: it then delegates its identity and references to the outer object and answers
// for itself only through its inner unknown.
class OstreljetModel final : public IOstreljetModel, public platform::IProvideClassInfo {
public:
    // Creates an object and writes its interface riid to *ppv. With an outer object, riid must be
    // IID_IUnknown (CLASS_E_NOAGGREGATION otherwise) and the inner unknown is returned. E_NOINTERFACE
    // (the object destroyed) when it does not have riid; E_OUTOFMEMORY when it cannot be allocated.
    static HRESULT create(platform::IUnknown *outer, platform::REFIID riid, void **ppv);

    OstreljetModel(const OstreljetModel &) = delete;
    OstreljetModel &operator=(const OstreljetModel &) = delete;

    // IUnknown, delegated to the controlling unknown.
    HRESULT QueryInterface(platform::REFIID riid, void **ppv) override;
    platform::ULONG AddRef() override;
    platform::ULONG Release() override;

    // IDispatch.
    HRESULT GetTypeInfoCount(platform::UINT *pctinfo) override;
    HRESULT GetTypeInfo(platform::UINT iTInfo, platform::LCID lcid, platform::ITypeInfo **ppTInfo) override;
    HRESULT GetIDsOfNames(platform::REFIID riid, platform::LPOLESTR *rgszNames, platform::UINT cNames,
                          platform::LCID lcid, platform::DISPID *rgDispId) override;
    HRESULT Invoke(platform::DISPID dispIdMember, platform::REFIID riid, platform::LCID lcid,
                   platform::WORD wFlags, platform::DISPPARAMS *pDispParams, VARIANT *pVarResult,
                   platform::EXCEPINFO *pExcepInfo, platform::UINT *puArgErr) override;

    // IProvideClassInfo.
    HRESULT GetClassInfo(platform::ITypeInfo **ppTI) override;

    // IOstreljetModel.
    HRESULT get_stackHeight(double *pVal) override;
    HRESULT put_stackHeight(double newVal) override;
    HRESULT get_orificeDiameter(double *pVal) override;
    HRESULT put_orificeDiameter(double newVal) override;
    HRESULT get_stackLocationX(double *pVal) override;
    HRESULT put_stackLocationX(double newVal) override;
    HRESULT get_stackLocationY(double *pVal) override;
    HRESULT put_stackLocationY(double newVal) override;
    HRESULT get_releaseAngle(double *pVal) override;
    HRESULT put_releaseAngle(double newVal) override;
    HRESULT get_dischargeCoefficient(double *pVal) override;
    HRESULT put_dischargeCoefficient(double newVal) override;
    HRESULT get_massFlowrate(double *pVal) override;
    HRESULT put_massFlowrate(double newVal) override;
    HRESULT get_atmosphereMolecularWeight(double *pVal) override;
    HRESULT put_atmosphereMolecularWeight(double newVal) override;
    HRESULT get_atmospherePressure(double *pVal) override;
    HRESULT put_atmospherePressure(double newVal) override;
    HRESULT get_atmosphereSpecificHeat(double *pVal) override;
    HRESULT put_atmosphereSpecificHeat(double newVal) override;
    HRESULT get_atmosphereTemperature(double *pVal) override;
    HRESULT put_atmosphereTemperature(double newVal) override;
    HRESULT get_atmosphereSurfaceRoughness(double *pVal) override;
    HRESULT put_atmosphereSurfaceRoughness(double newVal) override;
    HRESULT get_referenceWindHeight(double *pVal) override;
    HRESULT put_referenceWindHeight(double newVal) override;
    HRESULT get_referenceWindSpeed(double *pVal) override;
    HRESULT put_referenceWindSpeed(double newVal) override;
    HRESULT get_referenceWindBearing(double *pVal) override;
    HRESULT put_referenceWindBearing(double newVal) override;
    HRESULT get_sourceMolecularWeight(double *pVal) override;
    HRESULT put_sourceMolecularWeight(double newVal) override;
    HRESULT get_sourceSpecificHeat(double *pVal) override;
    HRESULT put_sourceSpecificHeat(double newVal) override;
    HRESULT get_sourceSpecificHeatRatio(double *pVal) override;
    HRESULT put_sourceSpecificHeatRatio(double newVal) override;
    HRESULT get_sourceTemperature(double *pVal) override;
    HRESULT put_sourceTemperature(double newVal) override;
    HRESULT get_timeAveraging(TIME_AVERAGING *pVal) override;
    HRESULT put_timeAveraging(TIME_AVERAGING newVal) override;
    HRESULT get_stoppingConcentration(double *pVal) override;
    HRESULT put_stoppingConcentration(double newVal) override;
    HRESULT get_pasquillStability(PASQUILL *pVal) override;
    HRESULT put_pasquillStability(PASQUILL newVal) override;
    HRESULT runModel(VARIANT_BOOL *pVal) override;
    HRESULT get_stackBearing(double *pVal) override;
    HRESULT put_stackBearing(double newVal) override;
    HRESULT getConcentration(double x, double y, double z, double *concentration) override;
    HRESULT getErrorMessages(VARIANT *messages) override;
    HRESULT get_versionInfo(BSTR *pVal) override;
    HRESULT getConcentrationArray(double xStart, double yStart, double zStart, double xEnd, double yEnd,
                                  double zEnd, LONG NumberOfPointsX, LONG NumberOfPointsY,
                                  LONG NumberOfPointsZ, VARIANT *concentrations) override;
    HRESULT get_messageCount(LONG *pVal) override;
    HRESULT get_profileRadius(LONG outputstep, double *pVal) override;
    HRESULT get_centrelineConcentration(LONG outputstep, double *pVal) override;
    HRESULT get_centrelineTemperature(LONG outputstep, double *pVal) override;
    HRESULT get_arclength(LONG outputstep, double *pVal) override;
    HRESULT get_centrelineLocation(LONG Index, LONG outputstep, double *pVal) override;
    HRESULT numberOfOutputSteps(LONG *numberOfSteps) override;
    HRESULT get_centrelineVelocity(LONG outputstep, double *pVal) override;

    // The jet model behind the interface, for C++ hosts and tests.
    const JetModel &model() const { return model_; }

    // The most arguments that Invoke accepts.
    static constexpr platform::UINT maximumArguments = 10;

private:
    // The object's own identity: answers every interface and owns the reference count.
    class InnerUnknown final : public platform::IUnknown {
    public:
        explicit InnerUnknown(OstreljetModel &object) : object_(object) {}
        HRESULT QueryInterface(platform::REFIID riid, void **ppv) override;
        platform::ULONG AddRef() override;
        platform::ULONG Release() override;

    private:
        OstreljetModel &object_;
    };

    explicit OstreljetModel(platform::IUnknown *outer);
    ~OstreljetModel() override;

    // Calls a member found in the type library with its arguments already converted, first argument
    // first; writes the out value to *result when result is not null.
    HRESULT callMember(platform::DISPID dispid, platform::INVOKEKIND invkind, const VARIANT *arguments,
                       VARIANT *result);

    // The concentration field of the last run under the component's rules, as the inputs stand now.
    const ConcentrationField &field();

    InnerUnknown inner_;                      // the non-delegating unknown
    platform::IUnknown *outer_;               // the controlling unknown: the outer object, or inner_
    platform::ULONG references_;              // references to inner_ (the object's own count)
    JetModel model_;                          // inputs, results and messages
    std::optional<ConcentrationField> field_; // built on the first query after a change
};

} // namespace ostreljet
