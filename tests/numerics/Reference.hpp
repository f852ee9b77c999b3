// The reference trajectories written by the published routines, and the problems both test files share.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace reference {

// One line of a reference file (# starts a comment): call nstate t hused nqused iroot y(1..n).
struct Row {
    int call, nstate, order, iroot;
    double t, hUsed;
    std::vector<double> y;
};

inline std::vector<Row> read(const std::string &name, int n) {
    std::ifstream in(std::string(OSTRELJET_NUMERICS_DATA_DIR) + "/" + name);
    std::vector<Row> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream fields(line);
        Row row{};
        fields >> row.call >> row.nstate >> row.t >> row.hUsed >> row.order >> row.iroot;
        row.y.resize(static_cast<std::size_t>(n));
        for (double &v : row.y) {
            fields >> v;
        }
        rows.push_back(row);
    }
    return rows;
}

// The largest relative difference of a point (t, y) from a row of the reference.
inline double difference(double t, const std::vector<double> &y, const Row &row) {
    auto relative = [](double a, double b) {
        return a == b ? 0.0 : std::fabs(a - b) / std::max(std::fabs(a), std::fabs(b));
    };
    double worst = relative(t, row.t);
    for (std::size_t i = 0; i < row.y.size(); ++i) {
        worst = std::max(worst, relative(y[i], row.y[i]));
    }
    return worst;
}

inline void robertson(double, const double *y, double *ydot) {
    ydot[0] = -0.04 * y[0] + 1.0e4 * y[1] * y[2];
    ydot[1] = 0.04 * y[0] - 1.0e4 * y[1] * y[2] - 3.0e7 * y[1] * y[1];
    ydot[2] = 3.0e7 * y[1] * y[1];
}

inline void lotkaVolterra(double, const double *y, double *ydot) {
    ydot[0] = 1.5 * y[0] - y[0] * y[1];
    ydot[1] = -3.0 * y[1] + y[0] * y[1];
}

// y(i)' = -i y(i) + 0.1 y(i+1) y(i-1) + 0.5 + t (cyclic indexes) from y(i) = 1/i, with five stopping
// functions.
inline void nineEquations(double t, const double *y, double *ydot) {
    for (int i = 1; i <= 9; ++i) {
        ydot[i - 1] = -static_cast<double>(i) * y[i - 1] + 0.1 * y[i % 9] * y[(i + 7) % 9] + 0.5 + t;
    }
}

inline double nineRoots(double t, const double *y, int iroot) {
    const double g[] = {y[0] - 0.6, t - 0.5, y[1] - y[2], y[8] - 0.3, t - 1.0};
    return g[iroot - 1];
}

inline std::vector<double> nineStart() {
    std::vector<double> y0;
    for (double i = 1.0; i <= 9.0; ++i) {
        y0.push_back(1.0 / i);
    }
    return y0;
}

} // namespace reference
