#include "ostreljet/io/GasTable.hpp"

#include <array>
#include <cctype>
#include <string>

namespace ostreljet {

namespace {

// Molar heat capacities at 298.15 K are the ideal-gas values of the NIST Chemistry WebBook (NIST Standard
// Reference Database 69), divided by the molar masses of the IUPAC standard atomic weights; the ratio is
// cp / (cp - R) with R = 8.314462618 J/(mol K). Natural gas is taken as 92 % methane, 5 % ethane, 2 %
// nitrogen and 1 % carbon dioxide by mole; air as dry air.
const std::array<GasTable::Entry, 14> table = {{
    {"methane", "CH4", 0.016043, 2225.0, 1.304},
    {"ethane", "C2H6", 0.030069, 1746.0, 1.188},
    {"propane", "C3H8", 0.044096, 1669.0, 1.127},
    {"n-butane", "C4H10", 0.058122, 1695.0, 1.092},
    {"ethylene", "C2H4", 0.028053, 1529.0, 1.240},
    {"hydrogen", "H2", 0.002016, 14306.0, 1.405},
    {"ammonia", "NH3", 0.017031, 2059.0, 1.311},
    {"chlorine", "Cl2", 0.070906, 479.0, 1.324},
    {"carbon dioxide", "CO2", 0.044010, 843.0, 1.289},
    {"hydrogen sulphide", "H2S", 0.034081, 1004.0, 1.321},
    {"nitrogen", "N2", 0.028013, 1040.0, 1.400},
    {"natural gas", "mixture", 0.017263, 2109.0, 1.296},
    {"air", "mixture", 0.028960, 1008.0, 1.398},
    {"steam", "H2O", 0.018015, 1864.0, 1.329},
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
