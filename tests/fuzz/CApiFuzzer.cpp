// Drives the C API with a sequence of operations decoded from the fuzz input: property writes with
// extreme values (NaN, infinities, huge, tiny, negative), runs, and queries of series, points, grids and
// messages with capacities and counts around and beyond their limits. Buffers are sized exactly, so the
// address sanitizer sees any write past what a call was promised; a broken guarantee traps.
// At exit it prints the slowest run it timed and that run's inputs.
#include "ostreljet/ostreljet.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace {

const char *const kInputs[] = {"stackHeight",
                               "orificeDiameter",
                               "stackLocationX",
                               "stackLocationY",
                               "releaseAngle",
                               "dischargeCoefficient",
                               "massFlowrate",
                               "atmosphereMolecularWeight",
                               "atmospherePressure",
                               "atmosphereSpecificHeat",
                               "atmosphereTemperature",
                               "atmosphereSurfaceRoughness",
                               "referenceWindHeight",
                               "referenceWindSpeed",
                               "referenceWindBearing",
                               "sourceMolecularWeight",
                               "sourceSpecificHeat",
                               "sourceSpecificHeatRatio",
                               "sourceTemperature",
                               "timeAveraging",
                               "stoppingConcentration",
                               "pasquillStability",
                               "stackBearing",
                               "noSuchInput",
                               "",
                               "StackHeight"};
constexpr std::size_t kInputCount = sizeof kInputs / sizeof kInputs[0];

// A valid value for each real input, so that one write away from it gives a run that goes somewhere.
const double kVent[] = {10.0, 0.2, 0.0,  0.0,   90.0,   1.0, 1.0,   0.02896, 101325.0, 1005.0, 288.15, 0.1,
                        10.0, 5.0, 90.0, 0.016, 2200.0, 1.3, 300.0, 0.0,     0.01,     3.0,    0.0};
constexpr std::size_t kRealInputs = sizeof kVent / sizeof kVent[0];

const char *const kSeries[] = {"arclength",
                               "x",
                               "y",
                               "z",
                               "profileRadius",
                               "centrelineConcentration",
                               "centrelineTemperature",
                               "centrelineVelocity",
                               "noSuchSeries"};

// One output step at the orifice and at most one per integrator call, which the run caps at 10000.
constexpr int kMaximumSteps = 10001;
// Grids up to this many points are evaluated; larger ones are only offered too small a buffer.
constexpr long long kLargestEvaluatedGrid = 512;
// Runs per input: one that reaches the call cap takes seconds in a sanitized build.
constexpr int kRunsPerInput = 1;

void require(bool condition, const char *what) {
    if (!condition) {
        std::fprintf(stderr, "broken guarantee: %s\n", what);
        std::abort();
    }
}

double extremeDouble(FuzzedDataProvider &data, double typical) {
    static const double special[] = {std::numeric_limits<double>::quiet_NaN(),
                                     -std::numeric_limits<double>::quiet_NaN(),
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(),
                                     std::numeric_limits<double>::max(),
                                     -std::numeric_limits<double>::max(),
                                     std::numeric_limits<double>::min(),
                                     std::numeric_limits<double>::denorm_min(),
                                     -std::numeric_limits<double>::denorm_min(),
                                     0.0,
                                     -0.0,
                                     -1.0,
                                     1.0,
                                     1e-300,
                                     1e300,
                                     2147483647.0,
                                     -2147483648.0,
                                     2147483648.0};
    switch (data.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
        return special[data.ConsumeIntegralInRange<std::size_t>(0, std::size(special) - 1)];
    case 1:
        return typical * data.ConsumeFloatingPointInRange<double>(-4.0, 4.0);
    case 2:
        return typical + data.ConsumeFloatingPointInRange<double>(-1.0, 1.0);
    case 3:
        return static_cast<double>(data.ConsumeIntegralInRange<int>(-10, 10));
    default: {
        const std::uint64_t bits = data.ConsumeIntegral<std::uint64_t>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    }
}

int extremeCount(FuzzedDataProvider &data) {
    static const int special[] = {0, 1, 2, 3, 7, -1, -2, 65536, 2147483647, -2147483647 - 1, 1 << 21};
    return data.ConsumeBool() ? special[data.ConsumeIntegralInRange<std::size_t>(0, std::size(special) - 1)]
                              : data.ConsumeIntegralInRange<int>(-3, 9);
}

// The slowest run timed so far and its inputs, kept in fixed storage: memory that an input allocates and
// keeps makes libFuzzer run that input a second time to look for a leak.
struct Slowest {
    double seconds = 0.0;
    double inputs[kRealInputs] = {};
    ~Slowest() {
        std::fprintf(stderr, "slowest run: %.3f s\n", seconds);
        for (std::size_t i = 0; i < kRealInputs && seconds > 0.0; ++i) {
            std::fprintf(stderr, "  %s = %.17g\n", kInputs[i], inputs[i]);
        }
    }
};
Slowest slowest;

void recordRunTime(const ostreljet_model *m, double seconds) {
    if (seconds <= slowest.seconds) {
        return;
    }
    slowest.seconds = seconds;
    for (std::size_t i = 0; i < kRealInputs; ++i) {
        ostreljet_get(m, kInputs[i], &slowest.inputs[i]);
    }
}

// With OSTRELJET_FUZZ_TRACE set, the writes and runs of each input are listed on stderr, to replay one.
const bool trace = std::getenv("OSTRELJET_FUZZ_TRACE") != nullptr;

void setInput(ostreljet_model *m, FuzzedDataProvider &data) {
    const std::size_t which = data.ConsumeIntegralInRange<std::size_t>(0, kInputCount - 1);
    const double value = extremeDouble(data, which < kRealInputs ? kVent[which] : 1.0);
    if (trace) {
        std::fprintf(stderr, "set %s = %.17g\n", kInputs[which], value);
    }
    const int status = ostreljet_set(m, kInputs[which], value);
    if (which >= kRealInputs) {
        require(status == -1, "an unknown property is refused with -1");
    } else if (std::strcmp(kInputs[which], "timeAveraging") == 0 ||
               std::strcmp(kInputs[which], "pasquillStability") == 0) {
        const bool integral = std::isfinite(value) && std::floor(value) == value && value >= -2147483648.0 &&
                              value <= 2147483647.0;
        require(status == (integral ? 0 : -2), "an enumeration takes whole 32-bit numbers only");
    } else {
        require(status == 0, "a real input takes any double");
    }
    require(status == 0 || ostreljet_last_error()[0] != '\0', "a refusal says why");
}

void querySeries(const ostreljet_model *m, FuzzedDataProvider &data) {
    const char *name = kSeries[data.ConsumeIntegralInRange<std::size_t>(0, std::size(kSeries) - 1)];
    const int steps = ostreljet_step_count(m);
    int capacity = 0;
    switch (data.ConsumeIntegralInRange<int>(0, 3)) {
    case 0:
        capacity = steps + data.ConsumeIntegralInRange<int>(-2, 2);
        break;
    case 1:
        capacity = extremeCount(data);
        break;
    default:
        capacity = data.ConsumeIntegral<int>();
    }
    // No call may write more than min(steps, capacity) values; the buffer holds exactly what it may.
    const int room = std::max(0, std::min(capacity, kMaximumSteps));
    std::vector<double> buffer(static_cast<std::size_t>(room));
    const bool useNull = data.ConsumeBool() && data.ConsumeBool();
    const int copied = ostreljet_series(m, name, useNull ? nullptr : buffer.data(), capacity);
    if (std::strcmp(name, "noSuchSeries") == 0) {
        require(copied == -1, "an unknown series is refused with -1");
    } else if (capacity < 0 || (useNull && capacity > 0)) {
        require(copied == -2, "a negative capacity or a null buffer is refused with -2");
    } else {
        require(copied == std::min(steps, capacity), "a series copies min(steps, capacity) values");
    }
}

void queryGrid(const ostreljet_model *m, FuzzedDataProvider &data) {
    double corners[6];
    for (double &c : corners) {
        c = extremeDouble(data, 50.0);
    }
    const int nx = extremeCount(data);
    const int ny = extremeCount(data);
    const int nz = extremeCount(data);
    const bool negative = nx < 0 || ny < 0 || nz < 0;
    // The exact product in 128 bits, to judge the answer independently of the library's arithmetic.
    const __int128 product = static_cast<__int128>(nx) * ny * nz;
    long long capacity = 0;
    if (!negative && product <= kLargestEvaluatedGrid) {
        capacity = static_cast<long long>(product) + data.ConsumeIntegralInRange<int>(-1, 2);
    } else {
        capacity = data.ConsumeIntegralInRange<long long>(-2, kLargestEvaluatedGrid);
    }
    std::vector<double> buffer(static_cast<std::size_t>(std::max(0LL, capacity)));
    const long long written =
        ostreljet_concentration_grid(m, corners[0], corners[1], corners[2], corners[3], corners[4],
                                     corners[5], nx, ny, nz, buffer.data(), capacity);
    if (negative || capacity < 0 || product > capacity) {
        require(written == -1, "a negative count or too small a buffer is refused with -1");
        require(ostreljet_last_error()[0] != '\0', "a refused grid says why");
    } else {
        require(written == static_cast<long long>(product), "a grid writes nx * ny * nz values");
    }
}

void queryMessages(const ostreljet_model *m, FuzzedDataProvider &data) {
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    ostreljet_model *m = ostreljet_create();
    require(m != nullptr, "a model is created");
    if (data.ConsumeBool()) {
        if (trace) {
            std::fprintf(stderr, "vent preset\n");
        }
        for (std::size_t i = 0; i < kRealInputs; ++i) {
            ostreljet_set(m, kInputs[i], kVent[i]);
        }
    }
    int runs = 0;
    while (data.remaining_bytes() > 0) {
        switch (data.ConsumeIntegralInRange<int>(0, 9)) {
        case 0:
        case 1:
        case 2:
            setInput(m, data);
            break;
        case 3: {
            if (runs++ >= kRunsPerInput) {
                break;
            }
            const auto start = std::chrono::steady_clock::now();
            const int ran = ostreljet_run(m);
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            recordRunTime(m, seconds);
            if (trace) {
                std::fprintf(stderr, "run: %d, %d steps, %.3f s\n", ran, ostreljet_step_count(m), seconds);
            }
            require(ran == 0 || ran == 1, "a run reports 0 or 1");
            const int steps = ostreljet_step_count(m);
            require(steps >= 0 && steps <= kMaximumSteps, "the call cap bounds the output steps");
            require(ran == 1 || steps == 0, "a refused run has no steps");
            break;
        }
        case 4:
        case 5:
            querySeries(m, data);
            break;
        case 6: {
            const double x = extremeDouble(data, 50.0);
            const double y = extremeDouble(data, 5.0);
            const double z = extremeDouble(data, 10.0);
            const double c = ostreljet_concentration(m, x, y, z);
            require(std::isnan(c) || (c >= 0.0 && c <= 1.0), "a concentration is a fraction or NaN");
            break;
        }
        case 7:
            queryGrid(m, data);
            break;
        case 8:
            queryMessages(m, data);
            break;
        default: {
            const std::size_t which = data.ConsumeIntegralInRange<std::size_t>(0, kInputCount - 1);
            double value = 0.0;
            const int status = ostreljet_get(m, kInputs[which], data.ConsumeBool() ? &value : nullptr);
            require(status == 0 || status == -1 || status == -2, "a read reports a known status");
        }
        }
    }
    ostreljet_destroy(m);
    return 0;
}
