// The C API's view of the input schema: names, types, units, defaults, ranges and labels of the inputs.
#include "Handle.hpp"

#include "ostreljet/inputs/InputSchema.hpp"

#include <cmath>
#include <limits>

using namespace ostreljet::capi;

namespace {

// The schema's entry for an input name; null (with the thread's last error) when the name is unknown.
const ostreljet::InputSchema::Input *input(const char *name) {
    const ostreljet::InputSchema::Input *entry =
        name == nullptr ? nullptr : ostreljet::InputSchema::find(name);
    if (entry == nullptr) {
        lastError = name == nullptr ? "null property name" : std::string("unknown property \"") + name + "\"";
    }
    return entry;
}

// The label (or member name) of an enumeration input's value; null when there is none.
const char *labelText(const char *name, int value, bool member) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr || entry->enumeration == nullptr) {
        return nullptr;
    }
    for (const ostreljet::InputSchema::Label &label : entry->enumeration->labels) {
        if (label.value == value) {
            return (member ? label.member : label.label).data();
        }
    }
    return fail<const char *>(nullptr,
                              std::string("property \"") + name + "\" has no value " + std::to_string(value));
}

} // namespace

extern "C" {

int ostreljet_property_count(void) {
    return static_cast<int>(ostreljet::InputSchema::inputs().size());
}

const char *ostreljet_property_name(int index) {
    const auto inputs = ostreljet::InputSchema::inputs();
    if (index < 0 || static_cast<std::size_t>(index) >= inputs.size()) {
        return fail<const char *>(nullptr, "property index " + std::to_string(index) + " is outside 0.." +
                                               std::to_string(inputs.size() - 1));
    }
    return inputs[static_cast<std::size_t>(index)].name.data();
}

const char *ostreljet_property_type(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return nullptr;
    }
    return entry->enumeration == nullptr ? "double" : entry->enumeration->name.data();
}

const char *ostreljet_property_unit(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    return entry == nullptr ? nullptr : entry->unit.data();
}

const char *ostreljet_property_description(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    return entry == nullptr ? nullptr : entry->meaning.data();
}

int ostreljet_property_default(const char *name, double *value) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    if (value == nullptr) {
        return fail(invalidArgument, "null result pointer");
    }
    *value = entry->defaultValue;
    return OSTRELJET_OK;
}

int ostreljet_property_range(const char *name, double *lower, double *upper, int *lower_inclusive,
                             int *upper_inclusive) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    const ostreljet::InputSchema::Range &range = entry->range;
    if (lower != nullptr) {
        *lower = range.lower;
    }
    if (upper != nullptr) {
        *upper = range.upper;
    }
    if (lower_inclusive != nullptr) {
        *lower_inclusive = range.lowerInclusive ? 1 : 0;
    }
    if (upper_inclusive != nullptr) {
        *upper_inclusive = range.upperInclusive ? 1 : 0;
    }
    return OSTRELJET_OK;
}

int ostreljet_property_label_count(const char *name) {
    const ostreljet::InputSchema::Input *entry = input(name);
    if (entry == nullptr) {
        return unknownName;
    }
    return entry->enumeration == nullptr ? 0 : static_cast<int>(entry->enumeration->labels.size());
}

const char *ostreljet_property_label(const char *name, int value) {
    return labelText(name, value, false);
}

const char *ostreljet_property_member(const char *name, int value) {
    return labelText(name, value, true);
}

} // extern "C"
