// Drives the C API with operations decoded from the fuzz input, at and beyond their limits. Buffers are
// sized exactly for the address sanitizer, a broken guarantee aborts, and the slowest run is printed at exit.
#include "Require.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/ostreljet.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

// A valid vent, input by input in interface order, so that one write away from it still runs somewhere.
const double kVent[] = {10.0, 0.2, 0.0,  0.0,   90.0,   1.0, 1.0,   0.02896, 101325.0, 1005.0, 288.15, 0.1,
                        10.0, 5.0, 90.0, 0.016, 2200.0, 1.3, 300.0, 0.0,     0.01,     3.0,    0.0};
constexpr std::size_t kRealInputs = std::size(kVent);
const char *const kUnknownInputs[] = {"noSuchInput", "", "StackHeight"};
constexpr std::size_t kInputCount = kRealInputs + std::size(kUnknownInputs);

// The orifice's step and at most one per integrator call, which a run caps at 10000.
constexpr int kMaximumSteps = 10001;

std::string inputName(std::size_t which) {
    const auto inputs = ostreljet::PropertyTable::properties();
    require(inputs.size() == kRealInputs, "the vent has a value for every input");
    return which < kRealInputs ? std::string(inputs[which].name) : kUnknownInputs[which - kRealInputs];
}

double extremeDouble(FuzzedDataProvider &data, double typical) {
    using L = std::numeric_limits<double>;
    static const double special[] = {
        L::quiet_NaN(),  -L::quiet_NaN(),  L::infinity(), -L::infinity(), L::max(), -L::max(), L::min(),
        L::denorm_min(), -L::denorm_min(), 0.0,           -0.0,           -1.0,     1.0,       1e-300,
        1e300,           2147483647.0,     -2147483648.0, 2147483648.0};
    switch (data.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
        return special[data.ConsumeIntegralInRange<std::size_t>(0, std::size(special) - 1)];
    case 1:
        return typical * data.ConsumeFloatingPointInRange<double>(-4.0, 4.0);
    case 2:
        return typical + data.ConsumeFloatingPointInRange<double>(-1.0, 1.0);
    case 3:
        return static_cast<double>(data.ConsumeIntegralInRange<int>(-10, 10));
    default:
        return std::bit_cast<double>(data.ConsumeIntegral<std::uint64_t>());
    }
}

int extremeCount(FuzzedDataProvider &data) {
    static const int special[] = {0, 1, 2, 3, 7, -1, -2, 65536, 2147483647, -2147483647 - 1, 1 << 21};
    return data.ConsumeBool() ? special[data.ConsumeIntegralInRange<std::size_t>(0, std::size(special) - 1)]
                              : data.ConsumeIntegralInRange<int>(-3, 9);
}

// Fixed storage: memory that an input allocates and keeps makes libFuzzer rerun it to look for a leak.
struct Slowest {
    double seconds = 0.0;
    double inputs[kRealInputs] = {};
    ~Slowest() {
        std::fprintf(stderr, "slowest run: %.3f s\n", seconds);
        for (std::size_t i = 0; i < kRealInputs && seconds > 0.0; ++i) {
            std::fprintf(stderr, "  %s = %.17g\n", inputName(i).c_str(), inputs[i]);
        }
    }
} slowest;
int runsThisInput = 0;

// One run per input: a run that reaches the call cap takes seconds in a sanitized build.
void run(ostreljet_model *m, FuzzedDataProvider &) {
    if (runsThisInput++ > 0) {
        return;
    }
    const auto start = std::chrono::steady_clock::now();
    const int ran = ostreljet_run(m);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (seconds > slowest.seconds) {
        slowest.seconds = seconds;
        for (std::size_t i = 0; i < kRealInputs; ++i) {
            ostreljet_get(m, inputName(i).c_str(), &slowest.inputs[i]);
        }
    }
    double stackHeight = 0.0, releaseAngle = 0.0;
    ostreljet_get(m, "stackHeight", &stackHeight);
    ostreljet_get(m, "releaseAngle", &releaseAngle);
    const bool underground = stackHeight <= 0.0 && releaseAngle < 0.0;
    require(underground ? ran == -2 : (ran == 0 || ran == 1),
            "a run reports 0 or 1, and -2 exactly for a release that would start underground");
    require(ran != -2 || ostreljet_last_error()[0] != '\0', "a refused run says why");
    const int steps = ostreljet_step_count(m);
    require(steps >= 0 && steps <= kMaximumSteps, "the call cap bounds the output steps");
    require(ran == 1 || steps == 0, "a refused run has no steps");
}

void setInput(ostreljet_model *m, FuzzedDataProvider &data) {
    const std::size_t which = data.ConsumeIntegralInRange<std::size_t>(0, kInputCount - 1);
    const double value = extremeDouble(data, which < kRealInputs ? kVent[which] : 1.0);
    const int status = ostreljet_set(m, inputName(which).c_str(), value);
    if (which >= kRealInputs) {
        require(status == -1, "an unknown property is refused with -1");
    } else if (ostreljet::PropertyTable::properties()[which].type != ostreljet::PropertyTable::Type::Double) {
        const double highest =
            ostreljet::PropertyTable::properties()[which].type == ostreljet::PropertyTable::Type::Pasquill
                ? 5.0
                : 1.0;
        const bool inRange =
            std::isfinite(value) && std::floor(value) == value && value >= 0.0 && value <= highest;
        require(status == (inRange ? 0 : -2), "an enumeration takes whole numbers in its range only");
    } else {
        require(status == (std::isfinite(value) ? 0 : -2), "a real input takes any finite double only");
    }
    require(status == 0 || ostreljet_last_error()[0] != '\0', "a refusal says why");
}

void querySeries(ostreljet_model *m, FuzzedDataProvider &data) {
    const auto series = ostreljet::PropertyTable::series();
    const std::size_t which = data.ConsumeIntegralInRange<std::size_t>(0, series.size());
    const std::string name = which < series.size() ? std::string(series[which].name) : "noSuchSeries";
    const int steps = ostreljet_step_count(m);
    const int pick = data.ConsumeIntegralInRange<int>(0, 3);
    const int capacity = pick == 0   ? steps + data.ConsumeIntegralInRange<int>(-2, 2)
                         : pick == 1 ? extremeCount(data)
                                     : data.ConsumeIntegral<int>();
    // No call may write more than min(steps, capacity) values; the buffer holds exactly what it may.
    std::vector<double> buffer(static_cast<std::size_t>(std::max(0, std::min(capacity, kMaximumSteps))));
    const bool useNull = data.ConsumeBool() && data.ConsumeBool();
    const int copied = ostreljet_series(m, name.c_str(), useNull ? nullptr : buffer.data(), capacity);
    if (which == series.size()) {
        require(copied == -1, "an unknown series is refused with -1");
    } else if (capacity < 0 || (useNull && capacity > 0)) {
        require(copied == -2, "a negative capacity or a null buffer is refused with -2");
    } else {
        require(copied == std::min(steps, capacity), "a series copies min(steps, capacity) values");
    }
}

void queryGrid(ostreljet_model *m, FuzzedDataProvider &data) {
    const auto next = [&data] { return extremeDouble(data, 50.0); };
    const double x0 = next(), y0 = next(), z0 = next(), x1 = next(), y1 = next(), z1 = next();
    const int nx = extremeCount(data), ny = extremeCount(data), nz = extremeCount(data);
    const bool negative = nx < 0 || ny < 0 || nz < 0;
    // The exact product in 128 bits judges the answer; grids over 512 points only get too small a buffer.
    const __int128 product = static_cast<__int128>(nx) * ny * nz;
    const long long capacity = !negative && product <= 512
                                   ? static_cast<long long>(product) + data.ConsumeIntegralInRange<int>(-1, 2)
                                   : data.ConsumeIntegralInRange<long long>(-2, 512);
    std::vector<double> buffer(static_cast<std::size_t>(std::max(0LL, capacity)));
    const long long written =
        ostreljet_concentration_grid(m, x0, y0, z0, x1, y1, z1, nx, ny, nz, buffer.data(), capacity);
    const bool unusable = !std::isfinite(x1 - x0) || !std::isfinite(y1 - y0) || !std::isfinite(z1 - z0);
    if (unusable || negative || capacity < 0 || product > capacity) {
        require(written == -1,
                "non-finite corners, a negative count or too small a buffer are refused with -1");
        require(ostreljet_last_error()[0] != '\0', "a refused grid says why");
    } else {
        require(written == static_cast<long long>(product), "a grid writes nx * ny * nz values");
    }
}

void queryMessages(ostreljet_model *m, FuzzedDataProvider &data) {
    const int count = ostreljet_message_count(m);
    require(count >= 0, "the message count is not negative");
    for (int i = 0; i < count; ++i) {
        const char *text = ostreljet_message(m, i);
        require(text != nullptr, "every listed message has a text");
        (void)std::strlen(text);
    }
    const int beyond = data.ConsumeBool() ? count : -1 - data.ConsumeIntegralInRange<int>(0, 3);
    require(ostreljet_message(m, beyond) == nullptr, "a message index outside the list gives null");
}

void queryPoint(ostreljet_model *m, FuzzedDataProvider &data) {
    const double x = extremeDouble(data, 50.0), y = extremeDouble(data, 5.0), z = extremeDouble(data, 10.0);
    const double c = ostreljet_concentration(m, x, y, z);
    require(std::isnan(c) || (c >= 0.0 && c <= 1.0), "a concentration is a fraction or NaN");
}

void getInput(ostreljet_model *m, FuzzedDataProvider &data) {
    const std::size_t which = data.ConsumeIntegralInRange<std::size_t>(0, kInputCount - 1);
    double value = 0.0;
    const int status = ostreljet_get(m, inputName(which).c_str(), data.ConsumeBool() ? &value : nullptr);
    require(status == 0 || status == -1 || status == -2, "a read reports a known status");
}

using Operation = void (*)(ostreljet_model *, FuzzedDataProvider &);
const Operation kOperations[] = {setInput,    setInput,   setInput,  run,           querySeries,
                                 querySeries, queryPoint, queryGrid, queryMessages, getInput};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    ostreljet_model *m = ostreljet_create();
    require(m != nullptr, "a model is created");
    const bool preset = data.ConsumeBool();
    for (std::size_t i = 0; preset && i < kRealInputs; ++i) {
        ostreljet_set(m, inputName(i).c_str(), kVent[i]);
    }
    runsThisInput = 0;
    while (data.remaining_bytes() > 0) {
        kOperations[data.ConsumeIntegralInRange<std::size_t>(0, std::size(kOperations) - 1)](m, data);
    }
    ostreljet_destroy(m);
    return 0;
}
