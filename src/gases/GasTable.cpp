#include "ostreljet/gases/GasTable.hpp"

#include <array>
#include <cctype>
#include <optional>
#include <string>

namespace ostreljet {

namespace {

// Molar heat capacities at 298.15 K are the ideal-gas values of the NIST Chemistry WebBook (NIST Standard
// Reference Database 69), divided by the molar masses of the IUPAC standard atomic weights; the ratio is
// cp / (cp - R) with R = 8.314462618 J/(mol K). Natural gas is taken as 92 % methane, 5 % ethane, 2 %
// nitrogen and 1 % carbon dioxide by mole; air as dry air.
//
// Hazard levels in air at ordinary temperature and pressure:
// - Flammability limits (% by volume): propane, n-butane, ammonia and hydrogen sulphide from the NIOSH
//   Pocket Guide to Chemical Hazards (LEL / UEL); methane, ethane, ethylene and hydrogen from
//   M. G. Zabetakis, "Flammability characteristics of combustible gases and vapors", US Bureau of Mines
//   Bulletin 627 (1965). Natural gas by Le Chatelier's rule over its methane and ethane, the 3 % of
//   nitrogen and carbon dioxide counted as diluent (4.83 % / 0.97 and 14.84 % / 0.97). Chlorine, carbon
//   dioxide, nitrogen, air and steam do not burn in air: none.
// - IDLH (ppm): NIOSH "Documentation for Immediately Dangerous to Life or Health Concentrations" (1994) and
//   the IDLH value profile for butane (NIOSH 2016-174): propane 2100 and n-butane 1600 (10 % of the LEL),
//   ammonia 300, chlorine 10, carbon dioxide 40000, hydrogen sulphide 100. NIOSH publishes none for
//   methane, ethane, ethylene, hydrogen, nitrogen, natural gas, air or steam (simple asphyxiants or
//   harmless): none.
constexpr std::optional<double> none = std::nullopt;
const std::array<GasTable::Entry, 14> table = {{
    {"methane", "CH4", 0.016043, 2225.0, 1.304, {5.0, 15.0, none}},
    {"ethane", "C2H6", 0.030069, 1746.0, 1.188, {3.0, 12.4, none}},
    {"propane", "C3H8", 0.044096, 1669.0, 1.127, {2.1, 9.5, 2100.0}},
    {"n-butane", "C4H10", 0.058122, 1695.0, 1.092, {1.6, 8.4, 1600.0}},
    {"ethylene", "C2H4", 0.028053, 1529.0, 1.240, {2.7, 36.0, none}},
    {"hydrogen", "H2", 0.002016, 14306.0, 1.405, {4.0, 75.0, none}},
    {"ammonia", "NH3", 0.017031, 2059.0, 1.311, {15.0, 28.0, 300.0}},
    {"chlorine", "Cl2", 0.070906, 479.0, 1.324, {none, none, 10.0}},
    {"carbon dioxide", "CO2", 0.044010, 843.0, 1.289, {none, none, 40000.0}},
    {"hydrogen sulphide", "H2S", 0.034081, 1004.0, 1.321, {4.0, 44.0, 100.0}},
    {"nitrogen", "N2", 0.028013, 1040.0, 1.400, {none, none, none}},
    {"natural gas", "mixture", 0.017263, 2109.0, 1.296, {5.0, 15.3, none}},
    {"air", "mixture", 0.028960, 1008.0, 1.398, {none, none, none}},
    {"steam", "H2O", 0.018015, 1864.0, 1.329, {none, none, none}},
}};

// Lower case, with '_' and '-' between words read as blanks, except the hyphen of "n-butane".
std::string normalise(std::string_view name) {
    std::string out;
    for (const char c : name) {
        out += c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (out == "hydrogen sulfide") {
        return "hydrogen sulphide";
    }
    if (out == "butane" || out == "n butane") {
        return "n-butane";
    }
    for (char &c : out) {
        if (c == '-' && out != "n-butane") {
            c = ' ';
        }
    }
    return out;
}

} // namespace

std::span<const GasTable::Entry> GasTable::entries() {
    return table;
}

const GasTable::Entry *GasTable::find(std::string_view name) {
    const std::string wanted = normalise(name);
    for (const Entry &entry : table) {
        if (entry.name == wanted) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace ostreljet
