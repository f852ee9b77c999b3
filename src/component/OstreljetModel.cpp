#include "ostreljet/component/OstreljetModel.hpp"

#include "ostreljet/Version.hpp"
#include "ostreljet/component/ErrorMessageExport.hpp"
#include "ostreljet/component/TypeLibrary.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/platform/ModuleLockCount.hpp"
#include "ostreljet/platform/SafeArray.hpp"

#include <memory>
#include <new>

namespace ostreljet {

using namespace platform;

// ---- Creation and identity ----

HRESULT OstreljetModel::create(IUnknown *outer, REFIID riid, void **ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (outer != nullptr && riid != IID_IUnknown) {
        return CLASS_E_NOAGGREGATION;
    }
    OstreljetModel *object = nullptr;
    try {
        object = new (std::nothrow) OstreljetModel(outer);
    } catch (const std::bad_alloc &) {
        object = nullptr;
    }
    if (object == nullptr) {
        return E_OUTOFMEMORY;
    }
    // Hold the object while asking for the interface, so that a refusal destroys it.
    object->inner_.AddRef();
    const HRESULT hr = object->inner_.QueryInterface(riid, ppv);
    object->inner_.Release();
    return hr;
}

OstreljetModel::OstreljetModel(IUnknown *outer)
    : inner_(*this), outer_(outer != nullptr ? outer : &inner_), references_(0) {
    ModuleLockCount::incrementObjects();
}

OstreljetModel::~OstreljetModel() {
    ModuleLockCount::decrementObjects();
}

HRESULT OstreljetModel::InnerUnknown::QueryInterface(REFIID riid, void **ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    if (riid == IID_IUnknown) {
        *ppv = static_cast<IUnknown *>(this);
    } else if (riid == IID_IOstreljetModel || riid == IID_IDispatch) {
        *ppv = static_cast<IOstreljetModel *>(&object_);
    } else if (riid == IID_IProvideClassInfo) {
        *ppv = static_cast<IProvideClassInfo *>(&object_);
    } else {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    // Through the interface handed out, so that an aggregated object's outer object counts it.
    static_cast<IUnknown *>(*ppv)->AddRef();
    return S_OK;
}

ULONG OstreljetModel::InnerUnknown::AddRef() {
    return ++object_.references_;
}

ULONG OstreljetModel::InnerUnknown::Release() {
    const ULONG remaining = --object_.references_;
    if (remaining == 0) {
        delete &object_;
    }
    return remaining;
}

HRESULT OstreljetModel::QueryInterface(REFIID riid, void **ppv) {
    return outer_->QueryInterface(riid, ppv);
}

ULONG OstreljetModel::AddRef() {
    return outer_->AddRef();
}

ULONG OstreljetModel::Release() {
    return outer_->Release();
}

// ---- Type information ----

HRESULT OstreljetModel::GetTypeInfoCount(UINT *pctinfo) {
    if (pctinfo == nullptr) {
        return E_POINTER;
    }
    *pctinfo = 1;
    return S_OK;
}

HRESULT OstreljetModel::GetTypeInfo(UINT iTInfo, LCID, ITypeInfo **ppTInfo) {
    if (ppTInfo == nullptr) {
        return E_POINTER;
    }
    *ppTInfo = nullptr;
    if (iTInfo != 0) {
        return DISP_E_BADINDEX;
    }
    return TypeLibrary::interfaceTypeInfo(ppTInfo);
}

HRESULT OstreljetModel::GetClassInfo(ITypeInfo **ppTI) {
    return TypeLibrary::classTypeInfo(ppTI);
}

// ---- Late binding ----

HRESULT OstreljetModel::GetIDsOfNames(REFIID, LPOLESTR *rgszNames, UINT cNames, LCID, DISPID *rgDispId) {
    if (cNames > 0 && (rgszNames == nullptr || rgDispId == nullptr)) {
        return E_POINTER;
    }
    for (UINT i = 0; i < cNames; ++i) {
        const std::u16string_view name = rgszNames[i] == nullptr ? u"" : rgszNames[i];
        if (!TypeLibrary::findMemberId(name, &rgDispId[i])) {
            rgDispId[i] = DISPID_UNKNOWN;
            return DISP_E_UNKNOWNNAME;
        }
    }
    return S_OK;
}

HRESULT OstreljetModel::Invoke(DISPID dispIdMember, REFIID, LCID, WORD wFlags, DISPPARAMS *pDispParams,
                               VARIANT *pVarResult, EXCEPINFO *pExcepInfo, UINT *puArgErr) {
    // Calls one member by dispatch identifier.
    // 1. Check the parameter block: present, at most ten arguments, no named ones but a put's value.
    // 2. Find the member for the access kind in the type library.
    // 3. Check the argument count and convert each argument to its parameter's type.
    // 4. Call it; hand its out value back, or its failure in the exception record.
    if (pDispParams == nullptr || (pDispParams->cArgs > 0 && pDispParams->rgvarg == nullptr)) {
        return DISP_E_BADVARTYPE;
    }
    if (pDispParams->cArgs > maximumArguments) {
        return DISP_E_BADPARAMCOUNT;
    }
    const bool put = (wFlags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    if (pDispParams->cNamedArgs > 0) {
        const bool putValue = put && pDispParams->cNamedArgs == 1 &&
                              pDispParams->rgdispidNamedArgs != nullptr &&
                              pDispParams->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
        if (!putValue) {
            return DISP_E_NONAMEDARGS;
        }
    }

    const TypeLibrary::Function *function = nullptr;
    if ((wFlags & DISPATCH_PROPERTYPUT) != 0) {
        function = TypeLibrary::findFunction(dispIdMember, INVOKE_PROPERTYPUT);
    } else if (!put) {
        if ((wFlags & DISPATCH_METHOD) != 0) {
            function = TypeLibrary::findFunction(dispIdMember, INVOKE_FUNC);
        }
        if (function == nullptr && (wFlags & DISPATCH_PROPERTYGET) != 0) {
            function = TypeLibrary::findFunction(dispIdMember, INVOKE_PROPERTYGET);
        }
    }
    if (function == nullptr) {
        return DISP_E_MEMBERNOTFOUND;
    }

    UINT inputs = 0;
    for (const ELEMDESC &parameter : function->parameters) {
        if ((parameter.wParamFlags & PARAMFLAG_FOUT) == 0) {
            ++inputs;
        }
    }
    if (pDispParams->cArgs != inputs) {
        return DISP_E_BADPARAMCOUNT;
    }
    VARIANT arguments[maximumArguments];
    for (VARIANT &argument : arguments) {
        VariantInit(&argument);
    }
    for (UINT i = 0; i < inputs; ++i) {
        const UINT position = pDispParams->cArgs - 1 - i; // the last argument comes first
        const VARTYPE type =
            function->parameters[i].vt == VT_USERDEFINED ? VT_I4 : function->parameters[i].vt;
        if (FAILED(VariantChangeType(&arguments[i], &pDispParams->rgvarg[position], 0, type))) {
            if (puArgErr != nullptr) {
                *puArgErr = position;
            }
            return DISP_E_TYPEMISMATCH;
        }
    }

    VARIANT out;
    VariantInit(&out);
    const HRESULT hr = callMember(function->dispid, function->invkind, arguments, &out);
    if (FAILED(hr)) {
        VariantClear(&out);
        if (pExcepInfo != nullptr) {
            *pExcepInfo = EXCEPINFO{};
            pExcepInfo->scode = hr;
            return DISP_E_EXCEPTION;
        }
        return hr;
    }
    if (pVarResult != nullptr) {
        *pVarResult = out; // the result takes over what out owns
    } else {
        VariantClear(&out);
    }
    return S_OK;
}

HRESULT OstreljetModel::callMember(DISPID dispid, INVOKEKIND invkind, const VARIANT *arguments,
                                   VARIANT *result) {
    if (const PropertyTable::Property *property = PropertyTable::findByDispid(dispid)) {
        const bool enumeration = property->type != PropertyTable::Type::Double;
        if (invkind == INVOKE_PROPERTYPUT) {
            property->put(model_, enumeration ? static_cast<double>(arguments[0].lVal) : arguments[0].dblVal);
        } else if (enumeration) {
            result->vt = VT_I4;
            result->lVal = static_cast<LONG>(property->get(model_));
        } else {
            result->vt = VT_R8;
            result->dblVal = property->get(model_);
        }
        return S_OK;
    }
    const auto real = [result](HRESULT hr) {
        result->vt = VT_R8;
        return hr;
    };
    const auto integer = [result](HRESULT hr) {
        result->vt = VT_I4;
        return hr;
    };
    switch (dispid) {
    case 24: {
        result->vt = VT_BOOL;
        return runModel(&result->boolVal);
    }
    case 27:
        return real(
            getConcentration(arguments[0].dblVal, arguments[1].dblVal, arguments[2].dblVal, &result->dblVal));
    case 28:
        return integer(get_messageCount(&result->lVal));
    case 29:
        return getErrorMessages(result);
    case 30:
        result->vt = VT_BSTR;
        return get_versionInfo(&result->bstrVal);
    case 31:
        return real(get_profileRadius(arguments[0].lVal, &result->dblVal));
    case 32:
        return real(get_centrelineConcentration(arguments[0].lVal, &result->dblVal));
    case 33:
        return real(get_centrelineTemperature(arguments[0].lVal, &result->dblVal));
    case 34:
        return real(get_arclength(arguments[0].lVal, &result->dblVal));
    case 35:
        return real(get_centrelineLocation(arguments[0].lVal, arguments[1].lVal, &result->dblVal));
    case 36:
        return integer(numberOfOutputSteps(&result->lVal));
    case 37:
        return real(get_centrelineVelocity(arguments[0].lVal, &result->dblVal));
    case 38:
        return getConcentrationArray(arguments[0].dblVal, arguments[1].dblVal, arguments[2].dblVal,
                                     arguments[3].dblVal, arguments[4].dblVal, arguments[5].dblVal,
                                     arguments[6].lVal, arguments[7].lVal, arguments[8].lVal, result);
    default:
        return DISP_E_MEMBERNOTFOUND;
    }
}

// ---- Inputs ----

#define OSTRELJET_FORWARD_PROPERTY(NAME, SETTER)                                                             \
    HRESULT OstreljetModel::get_##NAME(double *pVal) {                                                       \
        *pVal = model_.NAME();                                                                               \
        return S_OK;                                                                                         \
    }                                                                                                        \
    HRESULT OstreljetModel::put_##NAME(double newVal) {                                                      \
        model_.SETTER(newVal);                                                                               \
        return S_OK;                                                                                         \
    }

OSTRELJET_FORWARD_PROPERTY(stackHeight, setStackHeight)
OSTRELJET_FORWARD_PROPERTY(orificeDiameter, setOrificeDiameter)
OSTRELJET_FORWARD_PROPERTY(stackLocationX, setStackLocationX)
OSTRELJET_FORWARD_PROPERTY(stackLocationY, setStackLocationY)
OSTRELJET_FORWARD_PROPERTY(releaseAngle, setReleaseAngle)
OSTRELJET_FORWARD_PROPERTY(dischargeCoefficient, setDischargeCoefficient)
OSTRELJET_FORWARD_PROPERTY(massFlowrate, setMassFlowrate)
OSTRELJET_FORWARD_PROPERTY(atmosphereMolecularWeight, setAtmosphereMolecularWeight)
OSTRELJET_FORWARD_PROPERTY(atmospherePressure, setAtmospherePressure)
OSTRELJET_FORWARD_PROPERTY(atmosphereSpecificHeat, setAtmosphereSpecificHeat)
OSTRELJET_FORWARD_PROPERTY(atmosphereTemperature, setAtmosphereTemperature)
OSTRELJET_FORWARD_PROPERTY(atmosphereSurfaceRoughness, setAtmosphereSurfaceRoughness)
OSTRELJET_FORWARD_PROPERTY(referenceWindHeight, setReferenceWindHeight)
OSTRELJET_FORWARD_PROPERTY(referenceWindSpeed, setReferenceWindSpeed)
OSTRELJET_FORWARD_PROPERTY(referenceWindBearing, setReferenceWindBearing)
OSTRELJET_FORWARD_PROPERTY(sourceMolecularWeight, setSourceMolecularWeight)
OSTRELJET_FORWARD_PROPERTY(sourceSpecificHeat, setSourceSpecificHeat)
OSTRELJET_FORWARD_PROPERTY(sourceSpecificHeatRatio, setSourceSpecificHeatRatio)
OSTRELJET_FORWARD_PROPERTY(sourceTemperature, setSourceTemperature)
OSTRELJET_FORWARD_PROPERTY(stoppingConcentration, setStoppingConcentration)
OSTRELJET_FORWARD_PROPERTY(stackBearing, setStackBearing)

#undef OSTRELJET_FORWARD_PROPERTY

HRESULT OstreljetModel::get_timeAveraging(TIME_AVERAGING *pVal) {
    *pVal = static_cast<TIME_AVERAGING>(model_.timeAveraging());
    return S_OK;
}

HRESULT OstreljetModel::put_timeAveraging(TIME_AVERAGING newVal) {
    model_.setTimeAveraging(newVal);
    return S_OK;
}

HRESULT OstreljetModel::get_pasquillStability(PASQUILL *pVal) {
    *pVal = static_cast<PASQUILL>(model_.pasquillStability());
    return S_OK;
}

HRESULT OstreljetModel::put_pasquillStability(PASQUILL newVal) {
    model_.setPasquillStability(newVal);
    return S_OK;
}

// ---- Run and results ----

HRESULT OstreljetModel::runModel(VARIANT_BOOL *pVal) {
    // The integer 1 on success, deliberately not VARIANT_TRUE.
    *pVal = model_.runModel() ? 1 : 0;
    return S_OK;
}

HRESULT OstreljetModel::getErrorMessages(VARIANT *messages) {
    return ErrorMessageExport::toVariant(model_, messages);
}

HRESULT OstreljetModel::get_versionInfo(BSTR *pVal) {
    *pVal = A2BSTR(OSTRELJET_VERSION_STRING);
    return S_OK;
}

HRESULT OstreljetModel::get_messageCount(LONG *pVal) {
    *pVal = model_.messageCount();
    return S_OK;
}

HRESULT OstreljetModel::get_profileRadius(LONG outputstep, double *pVal) {
    *pVal = model_.profileRadius(outputstep);
    return S_OK;
}

HRESULT OstreljetModel::get_centrelineConcentration(LONG outputstep, double *pVal) {
    *pVal = model_.centrelineConcentration(outputstep);
    return S_OK;
}

HRESULT OstreljetModel::get_centrelineTemperature(LONG outputstep, double *pVal) {
    *pVal = model_.centrelineTemperature(outputstep);
    return S_OK;
}

HRESULT OstreljetModel::get_arclength(LONG outputstep, double *pVal) {
    *pVal = model_.arclength(outputstep);
    return S_OK;
}

HRESULT OstreljetModel::get_centrelineLocation(LONG Index, LONG outputstep, double *pVal) {
    *pVal = model_.centrelineLocation(Index, outputstep);
    return S_OK;
}

HRESULT OstreljetModel::numberOfOutputSteps(LONG *numberOfSteps) {
    *numberOfSteps = model_.numberOfOutputSteps();
    return S_OK;
}

HRESULT OstreljetModel::get_centrelineVelocity(LONG outputstep, double *pVal) {
    *pVal = model_.centrelineVelocity(outputstep);
    return S_OK;
}

// ---- Concentrations ----

const ConcentrationField &OstreljetModel::field() {
    if (!field_ || !field_->isCurrentFor(model_, model_.stoppingConcentration())) {
        field_.emplace(model_, ConcentrationField::Rules::asSpecified);
    }
    return *field_;
}

HRESULT OstreljetModel::getConcentration(double x, double y, double z, double *concentration) {
    *concentration = field().concentration(x, y, z);
    return S_OK;
}

HRESULT OstreljetModel::getConcentrationArray(double xStart, double yStart, double zStart, double xEnd,
                                              double yEnd, double zEnd, LONG NumberOfPointsX,
                                              LONG NumberOfPointsY, LONG NumberOfPointsZ,
                                              VARIANT *concentrations) {
    // Packs the concentrations of a grid with the coordinates of its points.
    // 1. Count the points as a 32-bit product and create the 4 x N array of variants in the out variant.
    // 2. Evaluate every point into one temporary array, in point order (x outermost, z innermost).
    // 3. Walk the grid again and store x, y, z and the concentration of each point p at (0..3, p).
    const std::uint32_t product = static_cast<std::uint32_t>(NumberOfPointsX) *
                                  static_cast<std::uint32_t>(NumberOfPointsY) *
                                  static_cast<std::uint32_t>(NumberOfPointsZ);
    const LONG count = static_cast<LONG>(product);
    VariantInit(concentrations);
    concentrations->vt = VT_ARRAY | VT_VARIANT;
    const SAFEARRAYBOUND bounds[2] = {{4, 0}, {static_cast<ULONG>(count), 0}};
    concentrations->parray = SafeArrayCreate(VT_VARIANT, 2, bounds);
    // A negative count cannot be allocated, nor can a count that does not fit in 32 bits.
    if (count < 0 ||
        static_cast<std::int64_t>(count) !=
            ConcentrationField::gridPointCount(NumberOfPointsX, NumberOfPointsY, NumberOfPointsZ)) {
        return E_OUTOFMEMORY;
    }
    std::unique_ptr<double[]> values(new (std::nothrow) double[static_cast<std::size_t>(count)]);
    if (values == nullptr || concentrations->parray == nullptr) {
        return E_OUTOFMEMORY;
    }
    field().grid(values.get(), xStart, yStart, zStart, xEnd, yEnd, zEnd, NumberOfPointsX, NumberOfPointsY,
                 NumberOfPointsZ, 1);

    void *data = nullptr;
    const HRESULT hr = SafeArrayAccessData(concentrations->parray, &data);
    if (FAILED(hr)) {
        return hr;
    }
    VARIANT *elements = static_cast<VARIANT *>(data);
    const auto store = [elements](std::int64_t point, int component, double value) {
        VARIANT &element = elements[point * 4 + component];
        element.vt = VT_R8;
        element.dblVal = value;
    };
    std::int64_t point = 0;
    for (LONG i = 0; i < NumberOfPointsX; ++i) {
        const double x = ConcentrationField::gridCoordinate(xStart, xEnd, i, NumberOfPointsX, true);
        for (LONG j = 0; j < NumberOfPointsY; ++j) {
            const double y = ConcentrationField::gridCoordinate(yStart, yEnd, j, NumberOfPointsY, false);
            for (LONG k = 0; k < NumberOfPointsZ; ++k, ++point) {
                store(point, 0, x);
                store(point, 1, y);
                store(point, 2, ConcentrationField::gridCoordinate(zStart, zEnd, k, NumberOfPointsZ, false));
                store(point, 3, values[static_cast<std::size_t>(point)]);
            }
        }
    }
    SafeArrayUnaccessData(concentrations->parray);
    return S_OK;
}

} // namespace ostreljet
