// The C API's far field: the series and figures of the plume past the jet.
#include "Handle.hpp"

#include "ostreljet/farfield/HandOff.hpp"

#include <cstring>
#include <limits>

using namespace ostreljet::capi;

namespace {

// A series of the far field by name, or false when the name is none.
bool farFieldValue(const ostreljet::FarFieldPoint &point, const char *name, double &value) {
    const struct {
        const char *name;
        double ostreljet::FarFieldPoint::*member;
    } columns[] = {{"downwindDistance", &ostreljet::FarFieldPoint::downwindDistance},
                   {"height", &ostreljet::FarFieldPoint::height},
                   {"sigmaY", &ostreljet::FarFieldPoint::sigmaY},
                   {"sigmaZ", &ostreljet::FarFieldPoint::sigmaZ},
                   {"centrelineConcentration", &ostreljet::FarFieldPoint::centrelineConcentration},
                   {"groundLevelConcentration", &ostreljet::FarFieldPoint::groundLevelConcentration}};
    for (const auto &column : columns) {
        if (std::strcmp(column.name, name) == 0) {
            value = point.*column.member;
            return true;
        }
    }
    if (std::strcmp(name, "regime") == 0) {
        value = point.regime == ostreljet::FarFieldRegime::dense ? 0.0 : 1.0;
        return true;
    }
    return false;
}

} // namespace

extern "C" {

int ostreljet_far_field_series(const ostreljet_model *m, const char *series, double *out, int capacity) {
    return guarded(internalFailure, [&] {
        if (m == nullptr || series == nullptr) {
            return fail(invalidArgument, "null model or series name");
        }
        double probe = 0.0;
        if (!farFieldValue(ostreljet::FarFieldPoint{}, series, probe)) {
            return fail(unknownName, std::string("unknown far-field series \"") + series + "\"");
        }
        const auto field = m->currentField();
        const auto &points = field->farField().series();
        const int count = static_cast<int>(points.size());
        if (out == nullptr || capacity < count) {
            return count;
        }
        for (int i = 0; i < count; ++i) {
            farFieldValue(points[static_cast<std::size_t>(i)], series, out[i]);
        }
        return count;
    });
}

double ostreljet_far_field_figure(const ostreljet_model *m, const char *name) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    return guarded(notANumber, [&] {
        if (m == nullptr || name == nullptr) {
            return fail(notANumber, "null model or figure name");
        }
        const auto field = m->currentField();
        const ostreljet::FarField &far = field->farField();
        const std::string figure = name;
        if (figure != "handOffDistance" && figure != "handOffHeight" && figure != "continuityRatio" &&
            figure != "passiveFrom" && figure != "endDistance") {
            return fail(notANumber, "unknown far-field figure \"" + figure + "\"");
        }
        if (!far.computed()) {
            return notANumber;
        }
        if (figure == "handOffDistance") {
            return far.handOff().downwindDistance;
        }
        if (figure == "handOffHeight") {
            return far.handOff().height;
        }
        if (figure == "continuityRatio") {
            return far.continuityRatio();
        }
        if (figure == "passiveFrom") {
            return far.passiveStart();
        }
        return far.endDistance();
    });
}

const char *ostreljet_far_field_hand_off(const ostreljet_model *m) {
    return guarded<const char *>(nullptr, [&]() -> const char * {
        if (m == nullptr) {
            return fail<const char *>(nullptr, "null model");
        }
        const auto field = m->currentField();
        if (!field->farField().computed()) {
            return "not computed";
        }
        return ostreljet::HandOff::describe(field->farField().handOff().reason);
    });
}

} // extern "C"
