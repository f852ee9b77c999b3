#include "ostreljet/mapping/PlaneGrid.hpp"

namespace ostreljet::mapping {

namespace {

std::vector<double> axis(double start, double end, std::int32_t count) {
    std::vector<double> values(static_cast<std::size_t>(count > 0 ? count : 0));
    for (std::int32_t i = 0; i < count; ++i) {
        values[static_cast<std::size_t>(i)] =
            i + 1 == count && count > 1 ? end : start + (end - start) * i / (count > 1 ? count - 1 : 1);
    }
    return values;
}

} // namespace

std::vector<double> PlaneGrid::xs() const {
    return axis(x0, x1, nx);
}
std::vector<double> PlaneGrid::ys() const {
    return axis(y0, y1, ny);
}
double PlaneGrid::dx() const {
    return nx > 1 ? (x1 - x0) / (nx - 1) : 0.0;
}
double PlaneGrid::dy() const {
    return ny > 1 ? (y1 - y0) / (ny - 1) : 0.0;
}

} // namespace ostreljet::mapping
