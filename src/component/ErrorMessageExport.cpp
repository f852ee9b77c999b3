#include "ostreljet/component/ErrorMessageExport.hpp"

#include "ostreljet/platform/SafeArray.hpp"

namespace ostreljet {

using namespace platform;

HRESULT ErrorMessageExport::toVariant(const ErrorMessageCollection &collection, VARIANT *messages) {
    // Exports the texts as an array of string variants.
    // 1. Initialise the out variant as an array of variants.
    // 2. Create the array with one element per message.
    // 3. Widen each text from the host's 8-bit code page and store it as a string variant.
    VariantInit(messages);
    messages->vt = VT_ARRAY | VT_VARIANT;
    const std::int32_t count = collection.messageCount();
    messages->parray = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(count));
    if (messages->parray == nullptr) {
        return E_OUTOFMEMORY;
    }
    for (std::int32_t i = 0; i < count; ++i) {
        VARIANT text;
        VariantInit(&text);
        text.vt = VT_BSTR;
        text.bstrVal = A2BSTR(collection.messageText(i));
        if (text.bstrVal == nullptr) {
            return E_OUTOFMEMORY;
        }
        const LONG index = i;
        const HRESULT hr = SafeArrayPutElement(messages->parray, &index, &text);
        VariantClear(&text);
        if (FAILED(hr)) {
            return hr;
        }
    }
    return S_OK;
}

} // namespace ostreljet
