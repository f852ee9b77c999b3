#include "ostreljet/platform/Dispatch.hpp"

namespace ostreljet::platform {

HRESULT DispGetParam(const DISPPARAMS *pdispparams, UINT position, VARTYPE vtTarg, VARIANT *pvarResult,
                     UINT *puArgErr) {
    if (pdispparams == nullptr || pvarResult == nullptr) {
        return E_INVALIDARG;
    }
    // A named argument whose identifier is the position takes precedence over the positional ones.
    UINT index = pdispparams->cArgs;
    for (UINT i = 0; i < pdispparams->cNamedArgs; ++i) {
        if (pdispparams->rgdispidNamedArgs != nullptr &&
            pdispparams->rgdispidNamedArgs[i] == static_cast<DISPID>(position)) {
            index = i;
            break;
        }
    }
    const UINT positional = pdispparams->cArgs - pdispparams->cNamedArgs;
    if (index == pdispparams->cArgs && position < positional) {
        index = pdispparams->cArgs - 1 - position;
    }
    if (index == pdispparams->cArgs) {
        return DISP_E_PARAMNOTFOUND;
    }
    VariantInit(pvarResult);
    const HRESULT hr = VariantChangeType(pvarResult, &pdispparams->rgvarg[index], 0, vtTarg);
    if (FAILED(hr) && puArgErr != nullptr) {
        *puArgErr = index;
    }
    return hr;
}

} // namespace ostreljet::platform
