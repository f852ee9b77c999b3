#pragma once

#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"
#include "ostreljet/platform/Variant.hpp"

// Hands the message list to a host in the platform's variant form.
namespace ostreljet {

class ErrorMessageExport {
public:
    ErrorMessageExport() = delete;

    // Initialises *messages without releasing its previous content and makes it an array of variants:
    // one dimension, lower bound 0, one string variant per message in list order holding its text
    // exactly as stored (zero elements for an empty list). Levels and codes are not exported.
    // E_OUTOFMEMORY when the array or a string cannot be allocated; the strings stored by then stay.
    static platform::HRESULT toVariant(const ErrorMessageCollection &collection, platform::VARIANT *messages);
};

} // namespace ostreljet
