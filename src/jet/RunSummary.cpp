#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/numerics/Constants.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace ostreljet {

namespace {

constexpr double degreesToRadians = constants::degreesToRadians; // rad/degree
constexpr double twoPi = 2.0 * constants::pi;

// Codes and texts of the messages that end or refuse a run.
constexpr std::int32_t groundCode = 0;
constexpr std::int32_t stoppingCode = 2;
constexpr std::int32_t velocityRatioCode = 26;
constexpr std::int32_t densityRatioCode = 28;
constexpr std::int32_t boundaryLayerCode = 32;
constexpr std::int32_t velocityWarningCode = 25;
constexpr std::int32_t densityWarningCode = 27;
constexpr std::string_view groundText = "The centreline of the jet is interacting with the ground";
constexpr std::string_view boundaryLayerText =
    "The centreline of the jet is interacting with the top of the boundary layer";
constexpr std::string_view stoppingText = "Stopping concentration reached";
constexpr std::string_view refusalText = "The calculated";
constexpr std::string_view densityWarningText = "Density ratio outside normal range";
constexpr std::string_view velocityWarningText = "The jet to wind velocity ratio";

// Ray and grid searches of the field.
constexpr int rayDirections = 16;        // directions around the axis in each cross-section plane
constexpr int rayBisections = 20;        // halvings of the bracket on a ray: 1.5 R / 2^20
constexpr int rayExpansions = 6;         // doublings of a ray's outer end while still above the level
constexpr double rayReach = 1.5;         // outer end of a ray, in profile radii
constexpr int segmentScans = 50;         // points scanned along a centreline segment: two per sample
constexpr int segmentBisections = 20;    // halvings of the last gap of the scan
constexpr int samplesPerSegment = 25;    // the field's samples along a segment, after the first
constexpr double edgeBracket = 1e-3;     // half-width of the bracket around an expected edge, as a share
constexpr int edgeBisections = 12;       // halvings of that bracket: 2e-3 / 2^12 of the distance
constexpr std::size_t edgeGuesses = 6;   // cross-sections kept as the best places for each extreme
constexpr int edgeRounds = 8;            // lists made again without the planes where the field differs
constexpr std::size_t groundStarts = 4;  // best places refined
constexpr double groundTolerance = 1e-5; // refinement stops at this fraction of the footprint's size

using Point = vector3;

// Thrown through the field's queries when one of the summary's limits is reached.
struct LimitReached {
    RunSummary::Cut cut;
};

// The field under the summary's limits: each query is charged to the budget; the clock and the cancel
// request are read every few queries, so that a check costs little beside a query.
class MeteredField {
public:
    MeteredField(const RunSummary::ConcentrationAt &field, const RunSummary::Limits &limits)
        : field_(field), limits_(limits) {}

    double operator()(double x, double y, double z) {
        if (limits_.work != 0) {
            used_ += RunSummary::workPerFieldQuery;
            const std::uint64_t segments = limits_.segmentsSearched ? limits_.segmentsSearched() : 0;
            if (used_ + RunSummary::workPerSegmentSearched * segments > limits_.work) {
                throw LimitReached{RunSummary::Cut::budgetSpent};
            }
        }
        if (queries_++ % kQueriesPerCheck == 0) {
            check();
        }
        return field_(x, y, z);
    }

    // Throws LimitReached when the time limit has passed or a cancel has been asked for.
    void check() const {
        if (limits_.cancelled && limits_.cancelled()) {
            throw LimitReached{RunSummary::Cut::cancelled};
        }
        if (limits_.deadline && std::chrono::steady_clock::now() >= *limits_.deadline) {
            throw LimitReached{RunSummary::Cut::timeLimit};
        }
    }

private:
    static constexpr std::uint64_t kQueriesPerCheck = 64;
    const RunSummary::ConcentrationAt &field_;
    const RunSummary::Limits &limits_;
    std::uint64_t used_ = 0;
    std::uint64_t queries_ = 0;
};

// The message that says why the summary stopped early, under the code of the run's own interruption.
RunSummary::Message cutMessage(RunSummary::Cut cut, const JetModel &model) {
    char text[240];
    std::int32_t code = JetModel::budgetSpentCode;
    switch (cut) {
    case RunSummary::Cut::timeLimit:
        std::snprintf(text, sizeof text,
                      "The summary was ended: the run's time limit of %g s was reached; the answers it "
                      "had not reached are not computed.",
                      model.timeLimit());
        code = JetModel::timeLimitCode;
        break;
    case RunSummary::Cut::cancelled:
        std::snprintf(text, sizeof text,
                      "The summary was cancelled; the answers it had not reached are not computed.");
        code = JetModel::runCancelledCode;
        break;
    default:
        std::snprintf(text, sizeof text,
                      "The summary was ended: the run's budget of evaluations is spent; the answers it had "
                      "not reached are not computed.");
        break;
    }
    return RunSummary::Message{text, MessageSeverity::error, code, 2};
}

double norm(const Point &a) {
    return a.norm();
}

bool startsWith(const std::string &text, std::string_view prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// The one table of severities: the model's messages that are not the default for their level. Every
// other message is an error at level 1 or 2 and a warning below.
struct SeverityRule {
    std::int32_t code;
    std::int32_t level;
    std::string_view prefix;
    MessageSeverity severity;
};
constexpr SeverityRule severityTable[] = {
    {stoppingCode, 0, stoppingText, MessageSeverity::information},
    // The centreline reaching the ground or the top of the boundary layer is a legitimate end of the jet:
    // its results hold up to there.
    {groundCode, 2, groundText, MessageSeverity::warning},
    {boundaryLayerCode, 2, boundaryLayerText, MessageSeverity::warning},
    {velocityRatioCode, 0, refusalText, MessageSeverity::error},
    {densityRatioCode, 0, refusalText, MessageSeverity::error},
};

const SeverityRule *severityRuleOf(const ErrorMessageCollection::ErrorMessage &m) {
    for (const SeverityRule &rule : severityTable) {
        if (m.code == rule.code && m.level == rule.level && startsWith(m.text, rule.prefix)) {
            return &rule;
        }
    }
    return nullptr;
}

std::string number(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.4g", value);
    return text;
}

std::string metres(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// The source figures a refusal or a warning of the source checks compared, as words.
std::string densityFigures(const JetModel::SourceFigures &f) {
    return " (density ratio " + number(f.densityRatio) +
           " at the source; the model accepts 0.2 to 5 and is normally used from 0.5 to 2)";
}

std::string velocityFigures(const JetModel::SourceFigures &f, double factor) {
    const double ratio =
        f.windSpeed > 0.0 ? f.exitSpeed / f.windSpeed : std::numeric_limits<double>::infinity();
    return " (exit speed " + number(f.exitSpeed) + " m/s, wind speed at the stack " + number(f.windSpeed) +
           " m/s: " + number(ratio) + " times; the model needs " + number(factor) + " times)";
}

bool isStoppingNotice(const ErrorMessageCollection::ErrorMessage &m) {
    return m.code == stoppingCode && m.level == 0 && startsWith(m.text, stoppingText);
}

bool isRefusal(const ErrorMessageCollection::ErrorMessage &m) {
    return (m.code == velocityRatioCode || m.code == densityRatioCode) && m.level == 0 &&
           startsWith(m.text, refusalText);
}

// The site seen from the stack: downwind along the wind at the reference height, crosswind to its left.
struct WindFrame {
    double xs; // m
    double ys; // m
    double wx; // unit wind, east
    double wy; // unit wind, north

    double downwind(const Point &p) const { return (p.x() - xs) * wx + (p.y() - ys) * wy; }
    double crosswind(const Point &p) const { return -(p.x() - xs) * wy + (p.y() - ys) * wx; }
};

// The run's series as plain points.
struct Series {
    std::vector<Point> location;  // m
    std::vector<Point> direction; // unit vectors along the jet
    std::vector<double> radius;   // m
    std::vector<double> concentration;
    std::vector<double> arcLength; // m
};

Series readSeries(const JetModel &model) {
    Series series;
    const std::int32_t n = model.numberOfOutputSteps();
    const auto &velocities = model.centrelineVelocityVectors();
    for (std::int32_t i = 0; i < n; ++i) {
        series.location.push_back(Point{model.centrelineLocation(1, i), model.centrelineLocation(2, i),
                                        model.centrelineLocation(3, i)});
        const auto &v = velocities[static_cast<std::size_t>(i)];
        const Point u{v.x(), v.y(), v.z()};
        const double speed = norm(u);
        series.direction.push_back(speed > 0.0 ? (1.0 / speed) * u : Point{0.0, 0.0, 1.0});
        series.radius.push_back(model.profileRadius(i));
        series.concentration.push_back(model.centrelineConcentration(i));
        series.arcLength.push_back(model.arclength(i));
    }
    return series;
}

// Fraction of the way from a to b at which a quantity falling from qa to qb passes q.
double crossing(double qa, double qb, double q) {
    return qa == qb ? 0.0 : (qa - q) / (qa - qb);
}

// The downwind distance where g (a height) first reaches 0, interpolated between output steps.
std::optional<double> firstTouchdown(const Series &series, const WindFrame &frame, auto &&g) {
    for (std::size_t i = 0; i < series.location.size(); ++i) {
        if (g(i) <= 0.0) {
            const double d = frame.downwind(series.location[i]);
            if (i == 0) {
                return d;
            }
            const double previous = frame.downwind(series.location[i - 1]);
            return previous + crossing(g(i - 1), g(i), 0.0) * (d - previous);
        }
    }
    return std::nullopt;
}

RunSummary::Location locate(const Point &p, const WindFrame &frame, double arcLength) {
    return RunSummary::Location{p.x(), p.y(), p.z(), frame.downwind(p), frame.crosswind(p), arcLength};
}

double nearestArcLength(const Series &series, const Point &p) {
    double best = std::numeric_limits<double>::infinity();
    double arc = 0.0;
    for (std::size_t i = 0; i < series.location.size(); ++i) {
        const double distance = norm(p - series.location[i]);
        if (distance < best) {
            best = distance;
            arc = series.arcLength[i];
        }
    }
    return arc;
}

// Extent of the region at or above one level.
class RegionSearch {
public:
    RegionSearch(const RunSummary::ConcentrationAt &field, const WindFrame &frame, double level)
        : field_(field), frame_(frame), level_(level) {}

    bool above(const Point &p) const { return field_(p.x(), p.y(), p.z()) >= level_; }

    void include(const Point &p) {
        const double d = frame_.downwind(p);
        const double c = std::fabs(frame_.crosswind(p));
        farthest_ = farthest_ ? std::max(*farthest_, d) : d;
        halfWidth_ = halfWidth_ ? std::max(*halfWidth_, c) : c;
    }

    // From a point above the level along unit direction e: the last point above it, by bisection.
    void alongRay(const Point &origin, const Point &e, double reach) {
        edgeAlong(origin, e, 0.0, reach, rayExpansions, rayBisections);
    }

    // The same, with the edge expected at `expected` m from the origin: a bracket close around it, widened
    // (by the whole ray's search) when the field is not above the level just inside it. False, with
    // nothing found, when the origin itself is not above the level: the field there is not the profile
    // expected (past a far field's hand-off plane, or beyond the run's end plane).
    bool alongRayFrom(const Point &origin, const Point &e, double expected) {
        const double inside = (1.0 - edgeBracket) * expected;
        if (!(expected > 0.0) || !above(origin + inside * e)) {
            if (!above(origin)) {
                return false;
            }
            alongRay(origin, e, rayReach * std::max(expected, 1e-3));
            return true;
        }
        edgeAlong(origin, e, inside, (1.0 + edgeBracket) * expected, rayExpansions, edgeBisections);
        return true;
    }

    // Whether a point between a and b could still move the farthest extent or the greatest half-width:
    // downwind distance and crosswind offset are linear along the line, so their values at the ends
    // bound them; the margin covers rounding many times over. A point that cannot widen the region
    // leaves both answers as they are, so its search may stop.
    bool couldWiden(const Point &a, const Point &b) const {
        if (!farthest_ || !halfWidth_) {
            return true;
        }
        const double da = frame_.downwind(a);
        const double db = frame_.downwind(b);
        const double ca = std::fabs(frame_.crosswind(a));
        const double cb = std::fabs(frame_.crosswind(b));
        const double margin = 1e-9 * (std::fabs(da) + std::fabs(db) + ca + cb + 1.0);
        return std::max(da, db) + margin >= *farthest_ || std::max(ca, cb) + margin >= *halfWidth_;
    }

    // Between a point above the level and one below it on a straight line: the farthest point above it.
    // The field need not fall steadily along the chord (each point takes the most nearly perpendicular of
    // the samples of its segment), so the chord is scanned first, from its far end back to the last point
    // above the level, and the gap after it bisected; a chord that cannot widen the region is passed over.
    void alongSegment(const Point &from, const Point &to) {
        if (!couldWiden(from, to)) {
            return;
        }
        int last = segmentScans;
        while (last > 0 && !above(from + (static_cast<double>(last) / segmentScans) * (to - from))) {
            --last;
        }
        edgeAlong(from, to - from, static_cast<double>(last) / segmentScans,
                  static_cast<double>(last + 1) / segmentScans, 0,
                  last < segmentScans ? segmentBisections : 0);
    }

    const std::optional<double> &farthest() const { return farthest_; }
    const std::optional<double> &halfWidth() const { return halfWidth_; }

private:
    // The last point above the level on the line origin + s e, from s = inside (above it) towards
    // s = outside: the outer end doubled while the field is still above the level there (at most
    // `expansions` times), then the bracket halved `bisections` times, the search ending as soon as no
    // point of the bracket could widen the region.
    void edgeAlong(const Point &origin, const Point &e, double inside, double outside, int expansions,
                   int bisections) {
        for (int k = 0; k < expansions && above(origin + outside * e); ++k) {
            inside = outside;
            outside *= 2.0;
        }
        for (int k = 0; k < bisections; ++k) {
            if (!couldWiden(origin + inside * e, origin + outside * e)) {
                return;
            }
            const double middle = 0.5 * (inside + outside);
            (above(origin + middle * e) ? inside : outside) = middle;
        }
        include(origin + inside * e);
    }

    const RunSummary::ConcentrationAt &field_;
    WindFrame frame_;
    double level_;
    std::optional<double> farthest_;
    std::optional<double> halfWidth_;
};

// Two unit vectors normal to t and to each other.
std::array<Point, 2> crossSectionBasis(const Point &t) {
    Point e1 = cross(t, Point{0.0, 0.0, 1.0});
    if (norm(e1) < 1e-6) {
        e1 = cross(t, Point{1.0, 0.0, 0.0});
    }
    e1 = (1.0 / norm(e1)) * e1;
    const Point e2 = cross(t, e1);
    return {e1, (1.0 / norm(e2)) * e2};
}

// A place in one cross-section of the jet to look for the region's edge: a sample of the centreline (an
// output step or a point between two), a direction in the plane normal to the jet there, and the distance
// along it at which the profile around that sample falls to the level.
struct EdgeGuess {
    double value = -std::numeric_limits<double>::infinity(); // m, downwind distance or crosswind offset
    Point origin;
    Point direction;       // unit
    double distance = 0.0; // m
    std::size_t plane = 0; // the segment whose plane it lies in (the last step's: the number of segments)
};

// The cross-section planes' best guesses, best first, one from each plane: the planes are visited by
// decreasing bound (a value no sample of the plane can pass) only until no plane left can beat the best
// guess not handed out yet, and a plane's best sample is worked out once, for every round that asks again.
// Of two equal values, the one from the plane earlier in the plain scan's order (`rank`) comes first.
template <typename Guess> class BestPlanes {
public:
    explicit BestPlanes(std::size_t planes) { entries_.reserve(planes); }

    // Adds a plane that may hold a guess; `bound` (of its guesses' values) must be finite.
    void add(double bound, std::size_t plane, std::size_t rank) {
        entries_.push_back(Entry{bound, plane, rank, notEvaluated});
    }

    // Starts handing out the guesses again, from the best (no plane may be added after the first start).
    void restart() {
        if (!sorted_) {
            std::sort(entries_.begin(), entries_.end(), [](const Entry &a, const Entry &b) {
                return a.bound > b.bound || (a.bound == b.bound && a.rank < b.rank);
            });
            sorted_ = true;
        }
        next_ = 0;
        waiting_.clear();
    }

    // The next best guess of the planes `included(plane)` allows, or none when they have no more;
    // evaluate(plane) gives a plane's best guess (a std::optional<Guess>, empty when it has none).
    template <typename Included, typename Evaluate>
    std::optional<Guess> next(Included &&included, Evaluate &&evaluate) {
        for (; next_ < entries_.size(); ++next_) {
            Entry &entry = entries_[next_];
            // The margin covers the rounding of a sample between the plane's ends many times over.
            if (!waiting_.empty() &&
                entry.bound + 1e-9 * std::fabs(entry.bound) < guesses_[waiting_.front()].value) {
                break;
            }
            if (!included(entry.plane)) {
                continue;
            }
            if (entry.slot == notEvaluated) {
                const std::optional<Guess> guess = evaluate(entry.plane);
                entry.slot = guess ? guesses_.size() : none;
                if (guess) {
                    guesses_.push_back(*guess);
                    ranks_.push_back(entry.rank);
                }
            }
            if (entry.slot != none) {
                const std::size_t slot = entry.slot;
                const auto behind = [this, slot](std::size_t other) {
                    return guesses_[other].value > guesses_[slot].value ||
                           (guesses_[other].value == guesses_[slot].value && ranks_[other] < ranks_[slot]);
                };
                waiting_.insert(std::find_if_not(waiting_.begin(), waiting_.end(), behind), slot);
            }
        }
        if (waiting_.empty()) {
            return std::nullopt;
        }
        const Guess best = guesses_[waiting_.front()];
        waiting_.erase(waiting_.begin());
        return best;
    }

    // The best `count` guesses of the planes `included` allows, best first.
    template <typename Included, typename Evaluate>
    std::vector<Guess> best(std::size_t count, Included &&included, Evaluate &&evaluate) {
        restart();
        std::vector<Guess> found;
        while (found.size() < count) {
            const std::optional<Guess> guess = next(included, evaluate);
            if (!guess) {
                break;
            }
            found.push_back(*guess);
        }
        return found;
    }

private:
    static constexpr std::size_t notEvaluated = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t none = notEvaluated - 1;
    struct Entry {
        double bound;
        std::size_t plane;
        std::size_t rank;
        std::size_t slot; // in guesses_, or notEvaluated, or none
    };
    std::vector<Entry> entries_;
    bool sorted_ = false;
    std::size_t next_ = 0;             // the first entry not visited yet in this round
    std::vector<Guess> guesses_;       // of the planes evaluated so far
    std::vector<std::size_t> ranks_;   // their ranks
    std::vector<std::size_t> waiting_; // visited in this round, not handed out yet: slots, best first
};

// Of the directions in the plane normal to unit t, the unit vector that most increases the projection on
// unit a, and how much one metre along it increases it (0 when a is along t).
std::pair<Point, double> steepestInPlane(const Point &t, const Point &a) {
    const Point along = a - dot(a, t) * t;
    const double length = norm(along);
    if (!(length > 1e-12)) {
        return {crossSectionBasis(t)[0], 0.0};
    }
    return {(1.0 / length) * along, length};
}

// The field's sample k of a segment (0 at its start, samplesPerSegment at its end), with its
// interpolated concentration and radius, handed to `sample`.
template <typename Sample>
void segmentSample(const Point &p0, const Point &p1, double c0, double c1, double r0, double r1, int k,
                   Sample &&sample) {
    const double s = static_cast<double>(k) / samplesPerSegment;
    const double w = 1.0 - s;
    const double kk = static_cast<double>(k);
    sample(Point{w * p0.x() + s * p1.x(), w * p0.y() + s * p1.y(), w * p0.z() + s * p1.z()},
           w * c0 + (kk * c1) / samplesPerSegment, w * r0 + (kk * r1) / samplesPerSegment);
}

void searchRegion(const Series &series, const WindFrame &frame, RegionSearch &search, double level) {
    // Region of one level: its edge where the profile says it is, checked against the field; the centreline
    // segments where the level is crossed; and rays ahead of the last step.
    // 1. In each cross-section the field is the profile around one sample of the centreline (the field
    //    takes the sample most nearly normal to the jet, with concentration and radius interpolated
    //    between the steps), so the edge there is a circle of known radius: over the samples of every
    //    segment (and the last step), keep the planes whose circles reach farthest downwind and those
    //    whose circles reach farthest across the wind.
    // 2. From the best of each list on, find the last point above the level in the field itself along the
    //    guess's direction, starting from a bracket close around the circle (widened when the field says
    //    otherwise), until what is found beats the next guess (a circle cut off by the run's end plane is
    //    not in the field).
    // 3. Where the level is crossed between two steps, scan and bisect along the segment for the tip.
    // 4. When the last step is above the level, bisect along rays in the half-space ahead of it.
    const std::size_t n = series.location.size();
    const Point wind{frame.wx, frame.wy, 0.0};
    const Point across{-frame.wy, frame.wx, 0.0};
    // What a plane's samples share: the directions depend only on the plane, and the distance to the level
    // grows with the concentration and the radius, so the one of the plane's largest bounds every
    // sample's. A sample's own distance (a power and an arc cosine) is worked out only where that bound
    // could still beat the best of its plane so far.
    struct PlaneGeometry {
        Point downwind; // unit, the steepest rise of the downwind distance in the plane
        double gain;    // m of downwind distance per m along it
        Point sideways; // unit, the steepest rise of the crosswind offset
        double spread;  // m of crosswind offset per m along it
        double reach;   // m, the largest distance to the level of its samples
    };
    std::vector<PlaneGeometry> planes(n);
    BestPlanes<EdgeGuess> farthestPlanes(n);
    BestPlanes<EdgeGuess> widestPlanes(n);
    // Every plane whose samples can reach the level (the last step's, then the segments from the last back:
    // the plain scan's order), with its bound in each list.
    const auto addPlane = [&](std::size_t plane, std::size_t rank, const Point &p0, const Point &p1,
                              double cMax, double rMax) {
        const Point &t = series.direction[plane];
        const std::pair<Point, double> steepestDownwind = steepestInPlane(t, wind);
        const std::pair<Point, double> steepestAcross = steepestInPlane(t, across);
        const double reach = ConcentrationField::distanceToLevel(cMax, rMax, level);
        planes[plane] = PlaneGeometry{steepestDownwind.first, steepestDownwind.second, steepestAcross.first,
                                      steepestAcross.second, reach};
        farthestPlanes.add(std::max(frame.downwind(p0), frame.downwind(p1)) + reach * steepestDownwind.second,
                           plane, rank);
        widestPlanes.add(std::max(std::fabs(frame.crosswind(p0)), std::fabs(frame.crosswind(p1))) +
                             reach * steepestAcross.second,
                         plane, rank);
    };
    if (n > 0 && series.concentration[n - 1] >= level) {
        addPlane(n - 1, 0, series.location[n - 1], series.location[n - 1], series.concentration[n - 1],
                 series.radius[n - 1]);
    }
    for (std::size_t i = n < 2 ? 0 : n - 1; i-- > 0;) {
        const double c0 = series.concentration[i];
        const double c1 = series.concentration[i + 1];
        if (c0 >= level || c1 >= level) {
            addPlane(i, n - 1 - i, series.location[i], series.location[i + 1], std::max(c0, c1),
                     std::max(series.radius[i], series.radius[i + 1]));
        }
    }
    // A plane's farthest or widest circle over its samples (the field's, with its interpolation, from the
    // far end back); of equal ones the first is kept.
    const auto bestOf = [&](std::size_t plane, bool acrossTheWind) -> std::optional<EdgeGuess> {
        const PlaneGeometry &g = planes[plane];
        EdgeGuess best{-std::numeric_limits<double>::infinity(), {}, {}, 0.0, plane};
        const auto sample = [&](const Point &p, double c, double r) {
            if (!(c >= level)) {
                return;
            }
            const double along = frame.downwind(p);
            const double offset = std::fabs(frame.crosswind(p));
            const double from = acrossTheWind ? offset : along;
            const double rate = acrossTheWind ? g.spread : g.gain;
            if (!(from + g.reach * rate > best.value)) {
                return;
            }
            const double distance = ConcentrationField::distanceToLevel(c, r, level);
            if (from + distance * rate > best.value) {
                const Point direction = !acrossTheWind             ? g.downwind
                                        : frame.crosswind(p) < 0.0 ? -1.0 * g.sideways
                                                                   : g.sideways;
                best = EdgeGuess{from + distance * rate, p, direction, distance, plane};
            }
        };
        if (plane == n - 1) {
            sample(series.location[n - 1], series.concentration[n - 1], series.radius[n - 1]);
        } else {
            for (int k = samplesPerSegment; k >= 0; --k) {
                segmentSample(series.location[plane], series.location[plane + 1], series.concentration[plane],
                              series.concentration[plane + 1], series.radius[plane], series.radius[plane + 1],
                              k, sample);
            }
        }
        return std::isfinite(best.value) ? std::optional<EdgeGuess>(best) : std::nullopt;
    };
    // Returns the first plane of a guess whose origin is not in the field as expected, or n.
    // Tries a list's guesses, best first, until what is found beats the next one; returns the first plane
    // of a guess whose origin is not in the field as expected, or n.
    const auto check = [&search, n](BestPlanes<EdgeGuess> &planes, auto &&included, auto &&evaluate,
                                    auto &&found) {
        std::size_t failed = n;
        planes.restart();
        for (std::size_t k = 0; k < edgeGuesses; ++k) {
            const std::optional<EdgeGuess> guess = planes.next(included, evaluate);
            if (!guess) {
                break;
            }
            const std::optional<double> best = found();
            if (best && *best >= guess->value - edgeBracket * std::fabs(guess->value)) {
                break;
            }
            if (!search.alongRayFrom(guess->origin, guess->direction, guess->distance)) {
                failed = std::min(failed, guess->plane);
            }
        }
        return failed;
    };
    // Where the field is not the jet's profile (past a far field's hand-off plane, beyond the end plane),
    // the guesses fail: the planes from the first that failed on are left out, and the lists made again.
    for (std::size_t limit = n, round = 0; round < edgeRounds; ++round) {
        // The planes ahead of the limit: its segments, and the last step's when it is the number of steps.
        const auto included = [limit, n](std::size_t plane) {
            return plane == n - 1 ? limit == n : plane < limit;
        };
        // The widest guesses first, then the farthest: a point found for one can make guesses of the
        // other needless.
        const std::size_t widestFailed = check(
            widestPlanes, included, [&bestOf](std::size_t plane) { return bestOf(plane, true); },
            [&search] { return search.halfWidth(); });
        const std::size_t failed =
            std::min(widestFailed, check(
                                       farthestPlanes, included,
                                       [&bestOf](std::size_t plane) { return bestOf(plane, false); },
                                       [&search] { return search.farthest(); }));
        if (failed >= limit) {
            break;
        }
        limit = failed;
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        if (series.concentration[i] >= level && !(series.concentration[i + 1] >= level) &&
            search.above(series.location[i])) {
            search.alongSegment(series.location[i], series.location[i + 1]);
        }
    }
    if (n > 0 && series.concentration[n - 1] >= level && search.above(series.location[n - 1])) {
        const Point &p = series.location[n - 1];
        const Point &t = series.direction[n - 1];
        const auto [e1, e2] = crossSectionBasis(t);
        const double reach = rayReach * series.radius[n - 1];
        for (const double tilt : {0.25, 0.5, 0.75, 1.0}) {
            const double elevation = tilt * 0.25 * twoPi; // from the plane towards the jet's direction
            if (tilt == 1.0) {
                search.alongRay(p, t, reach);
                break;
            }
            for (int k = 0; k < rayDirections; ++k) {
                const double angle = twoPi * k / rayDirections;
                const Point radial = std::cos(angle) * e1 + std::sin(angle) * e2;
                search.alongRay(p, std::cos(elevation) * radial + std::sin(elevation) * t, reach);
            }
        }
    }
}

std::optional<RunSummary::GroundMaximum> searchGround(const Series &series, const WindFrame &frame,
                                                      const RunSummary::ConcentrationAt &field) {
    // Greatest concentration at z = 0: where the profile says it is, then compass searches in the field.
    // 1. The footprint is the horizontal box of every step whose profile reaches below the ground, and of
    //    its neighbours, widened by their profile radii; a plume whose profile never reaches the ground
    //    has no ground-level maximum.
    // 2. In each cross-section the field is the profile around one sample of the centreline, greatest on
    //    the ground where the plane meets it nearest the sample: over the samples of every segment (and
    //    the last step), keep the planes whose ground value is greatest (planes whose bound, the profile
    //    at the height of their lower end, cannot enter the list are passed over).
    // 3. From each whose plane's bound is above the best found so far, in the field itself, step to the best
    // of the eight neighbours at the current spacing
    //    (from a quarter of the profile radius), halving it when none is better, until it is 1e-5 of the
    //    footprint.
    const std::size_t n = series.location.size();
    double xMin = std::numeric_limits<double>::infinity();
    double xMax = -xMin;
    double yMin = xMin;
    double yMax = -xMin;
    bool touches = false;
    for (std::size_t i = 0; i < n; ++i) {
        if (series.location[i].z() - series.radius[i] >= 0.0) {
            continue;
        }
        touches = true;
        for (std::size_t j = (i == 0 ? 0 : i - 1); j <= std::min(i + 1, n - 1); ++j) {
            const Point &p = series.location[j];
            const double r = series.radius[j];
            xMin = std::min(xMin, p.x() - r);
            xMax = std::max(xMax, p.x() + r);
            yMin = std::min(yMin, p.y() - r);
            yMax = std::max(yMax, p.y() + r);
        }
    }
    if (!touches) {
        return std::nullopt;
    }
    auto value = [&field](double x, double y) { return field(x, y, 0.0); };
    struct Candidate {
        double value;      // volume fraction
        double x;          // m
        double y;          // m
        double step;       // m, the compass search's first spacing
        double bound;      // volume fraction, the most any sample of its plane gives on the ground
        std::size_t plane; // the segment whose plane it lies in (the last step's: the number of segments)
    };
    // Every cross-section plane with its bound, the profile at the height of its lower end (the ground is
    // at least that far from every sample of the plane): the last step's, then the segments in order (the
    // plain scan's order). Planes along the vertical, which never meet the ground, are left out.
    std::vector<double> bounds(n, 0.0);
    BestPlanes<Candidate> bestPlanes(n);
    const auto addPlane = [&](std::size_t plane, std::size_t rank, const Point &p0, const Point &p1,
                              double cMax, double rMax) {
        const Point &t = series.direction[plane];
        const double lowest = p0.z() * p1.z() <= 0.0 ? 0.0 : std::min(std::fabs(p0.z()), std::fabs(p1.z()));
        bounds[plane] = ConcentrationField::profileAt(cMax, rMax, lowest);
        if (bounds[plane] > 0.0 && 1.0 - t.z() * t.z() > 1e-12) {
            bestPlanes.add(bounds[plane], plane, rank);
        }
    };
    addPlane(n - 1, 0, series.location[n - 1], series.location[n - 1], series.concentration[n - 1],
             series.radius[n - 1]);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        addPlane(i, i + 1, series.location[i], series.location[i + 1],
                 std::max(series.concentration[i], series.concentration[i + 1]),
                 std::max(series.radius[i], series.radius[i + 1]));
    }
    // A plane's best sample: in the plane, the ground is nearest along its steepest descent; of equal
    // samples the first is kept.
    const auto bestOf = [&](std::size_t plane) -> std::optional<Candidate> {
        const Point &t = series.direction[plane];
        const Point up{-t.z() * t.x(), -t.z() * t.y(), 1.0 - t.z() * t.z()};
        const double slope = up.z(); // |up|^2
        Candidate here{0.0, 0.0, 0.0, 0.0, bounds[plane], plane};
        const auto sample = [&](const Point &p, double c, double r) {
            const double v = ConcentrationField::profileAt(c, r, std::fabs(p.z()) / std::sqrt(slope));
            if (v > here.value) {
                const double along = -p.z() / slope;
                here =
                    Candidate{v, p.x() + along * up.x(), p.y() + along * up.y(), 0.25 * r, here.bound, plane};
            }
        };
        if (plane == n - 1) {
            sample(series.location[n - 1], series.concentration[n - 1], series.radius[n - 1]);
        } else {
            for (int k = 0; k <= samplesPerSegment; ++k) {
                segmentSample(series.location[plane], series.location[plane + 1], series.concentration[plane],
                              series.concentration[plane + 1], series.radius[plane], series.radius[plane + 1],
                              k, sample);
            }
        }
        return here.value > 0.0 ? std::optional<Candidate>(here) : std::nullopt;
    };
    Candidate best{0.0, 0.0, 0.0, 0.0, 0.0, 0};
    const double smallest = groundTolerance * std::max(xMax - xMin, yMax - yMin);
    // Where the field is not the jet's profile (past a far field's hand-off plane, beyond the end plane) a
    // start is below what the profile gives there: the planes from the first such on are left out, and
    // the list made again; a start already refined is not refined again, nor one within two of its first
    // spacings of where a refined start began or ended (it would climb the same hill).
    std::vector<std::size_t> refined;
    std::vector<std::pair<double, double>> climbed;
    const auto nearClimbed = [&climbed](const Candidate &at) {
        return std::any_of(climbed.begin(), climbed.end(), [&at](const std::pair<double, double> &p) {
            return std::hypot(p.first - at.x, p.second - at.y) < 2.0 * at.step;
        });
    };
    for (std::size_t limit = n, round = 0; round < edgeRounds; ++round) {
        // The planes ahead of the limit: the segments before its last one, and the last step's when it is
        // the number of steps.
        const auto included = [limit, n](std::size_t plane) {
            return plane == n - 1 ? limit == n : plane + 1 < limit;
        };
        const std::vector<Candidate> starts = bestPlanes.best(groundStarts, included, bestOf);
        std::size_t failed = n;
        for (Candidate at : starts) {
            if (!(at.bound > best.value) ||
                std::find(refined.begin(), refined.end(), at.plane) != refined.end() || nearClimbed(at)) {
                continue; // no sample of its plane can beat what is found, or it is done
            }
            const double expected = at.value;
            at.value = value(at.x, at.y);
            if (at.value < expected * (1.0 - 1e-6)) {
                failed = std::min(failed, at.plane);
                continue;
            }
            refined.push_back(at.plane);
            climbed.emplace_back(at.x, at.y);
            double h = std::max(at.step, smallest);
            // The points of the round before, its centre and neighbours (after a step, up to five of the new
            // neighbours are among them: their values are taken again where their coordinates are the same
            // to the bit).
            std::array<std::array<double, 3>, 9> before{};
            std::array<std::array<double, 3>, 9> now{};
            std::size_t known = 0;
            while (h > smallest) {
                Candidate next = at;
                now[0] = {at.x, at.y, at.value};
                std::size_t k = 1;
                for (int a = -1; a <= 1; ++a) {
                    for (int b = -1; b <= 1; ++b) {
                        if (a == 0 && b == 0) {
                            continue;
                        }
                        const double x = at.x + a * h;
                        const double y = at.y + b * h;
                        const auto seen = std::find_if(
                            before.begin(), before.begin() + known,
                            [x, y](const std::array<double, 3> &p) { return p[0] == x && p[1] == y; });
                        const double v = seen != before.begin() + known ? (*seen)[2] : value(x, y);
                        now[k++] = {x, y, v};
                        if (v > next.value) {
                            next = {v, x, y, h, at.bound, at.plane};
                        }
                    }
                }
                before = now;
                known = k;
                if (next.value > at.value) {
                    at = next;
                } else {
                    h *= 0.5;
                }
            }
            climbed.emplace_back(at.x, at.y);
            if (at.value > best.value) {
                best = at;
            }
        }
        if (failed >= limit) {
            break;
        }
        limit = failed;
    }
    if (!(best.value > 0.0)) {
        return std::nullopt;
    }
    const Point p{best.x, best.y, 0.0};
    return RunSummary::GroundMaximum{best.value, locate(p, frame, nearestArcLength(series, p))};
}

// Why a run's values are not physical, with where and the likely cause; absent when they are.
std::optional<std::string> nonPhysical(const JetModel &model, const Series &series, const WindFrame &frame) {
    // Scan of the output steps for a value no real jet has.
    // 1. The first step whose position, radius, concentration, temperature or velocity is not finite, whose
    //    radius is below 0, or whose concentration is below 0 or above the source's.
    // 2. The likely cause from the source figures: a density ratio outside the normal range, else a low
    //    velocity ratio.
    const std::size_t n = series.location.size();
    const double source = series.concentration[0];
    std::string what;
    std::size_t at = 0;
    for (std::size_t i = 0; i < n && what.empty(); ++i) {
        const Point &p = series.location[i];
        const double c = series.concentration[i];
        const double temperature = model.centrelineTemperature(static_cast<std::int32_t>(i));
        const double velocity = model.centrelineVelocity(static_cast<std::int32_t>(i));
        at = i;
        if (!std::isfinite(p.x()) || !std::isfinite(p.y()) || !std::isfinite(p.z()) ||
            !std::isfinite(series.radius[i]) || !std::isfinite(c) || !std::isfinite(temperature) ||
            !std::isfinite(velocity)) {
            what = "a value that is not a number";
        } else if (series.radius[i] < 0.0) {
            what = "a profile radius of " + number(series.radius[i]) + " m";
        } else if (series.radius[i] > JetModel::arcLengthRange) {
            what = "a profile radius of " + number(series.radius[i]) +
                   " m, wider than the model's range of " +
                   std::to_string(static_cast<long>(JetModel::arcLengthRange)) + " m";
        } else if (c < 0.0) {
            what = "a centreline concentration of " + number(c) + " volume fraction, below 0";
        } else if (c > std::max(source, 0.0) * (1.0 + 1e-9) || c > 1.0 + 1e-9) {
            what = "a centreline concentration of " + number(c) + " volume fraction, above the source's " +
                   number(source);
        } else if (!(temperature > 0.0)) {
            what = "a centreline temperature of " + number(temperature) + " K";
        }
    }
    if (what.empty()) {
        return std::nullopt;
    }
    const JetModel::SourceFigures &f = model.sourceFigures();
    std::string cause;
    if (f.densityRatio > 2.0 || (f.densityRatio > 0.0 && f.densityRatio < 0.5)) {
        cause = "the density ratio of " + number(f.densityRatio) +
                " at the source, outside the model's normal range of 0.5 to 2";
    } else if (f.windSpeed > 0.0 && f.exitSpeed < 6.0 * f.windSpeed) {
        cause = "the exit speed of " + number(f.exitSpeed) + " m/s, less than 6 times the wind speed of " +
                number(f.windSpeed) + " m/s at the stack";
    } else {
        cause = "a release outside the range the model's equations hold for";
    }
    const double downwind =
        std::isfinite(frame.downwind(series.location[at])) ? frame.downwind(series.location[at]) : 0.0;
    return "The model produced non-physical values: " + what + " at " + number(series.arcLength[at]) +
           " m along the centreline (" + number(downwind) + " m downwind). Likely cause: " + cause +
           ". No results are given.";
}
} // namespace

MessageSeverity RunSummary::severityOf(const ErrorMessageCollection::ErrorMessage &message) {
    if (const SeverityRule *rule = severityRuleOf(message)) {
        return rule->severity;
    }
    return message.level >= 1 ? MessageSeverity::error : MessageSeverity::warning;
}

void RunSummary::addMessage(std::string text, MessageSeverity severity, std::int32_t code,
                            std::int32_t level) {
    messages.push_back(Message{std::move(text), severity, code, level});
}

std::string_view RunSummary::severityName(MessageSeverity severity) {
    switch (severity) {
    case MessageSeverity::information:
        return "information";
    case MessageSeverity::warning:
        return "warning";
    case MessageSeverity::error:
        return "error";
    }
    return "error";
}

std::string_view RunSummary::endingName(Ending ending) {
    switch (ending) {
    case Ending::stoppingConcentration:
        return "stopping concentration";
    case Ending::centrelineOnGround:
        return "centreline on the ground";
    case Ending::topOfBoundaryLayer:
        return "top of the boundary layer";
    case Ending::refusedBySourceChecks:
        return "refused by the source checks";
    case Ending::inputsInvalid:
        return "inputs invalid";
    case Ending::other:
        return "other";
    }
    return "other";
}

std::optional<double> RunSummary::notComputedBeyondDownwind() const {
    if (farField) {
        return farField->to;
    }
    return lastStep ? std::optional<double>(lastStep->downwind) : std::nullopt;
}

RunSummary::Limits RunSummary::limitsAfterRun(const JetModel &model) {
    Limits limits;
    if (model.evaluationBudget() != 0) {
        // The summary has a budget of its own as large as the run's: a run that used most of its budget
        // (a long dense plume) still gets its answers, and the two together stay within twice the budget.
        limits.work = model.evaluationBudget();
    }
    if (model.timeLimit() > 0.0) {
        limits.deadline = model.deadline();
    }
    limits.cancelled = [&model]() { return model.cancelRequested(); };
    return limits;
}

RunSummary RunSummary::of(const JetModel &model, bool inputsAccepted, std::span<const double> levels) {
    if (levels.size() > maximumLevels) {
        throw std::invalid_argument("at most " + std::to_string(maximumLevels) + " levels, not " +
                                    std::to_string(levels.size()));
    }
    // Nothing is computed beyond the run's end plane: the searches treat it as below every level.
    const RunField field(model, RunStatus::ok);
    std::uint64_t segments = 0;
    Limits limits = limitsAfterRun(model);
    limits.segmentsSearched = [&segments] { return segments; };
    return of(
        model, inputsAccepted, levels,
        [&field, &segments](double x, double y, double z) {
            const double c = field.concentration(x, y, z, segments);
            return std::isnan(c) ? 0.0 : c;
        },
        limits);
}

RunSummary RunSummary::of(const JetModel &model, bool inputsAccepted, std::span<const double> levels,
                          const ConcentrationAt &concentrationAt) {
    return of(model, inputsAccepted, levels, concentrationAt, Limits{});
}

RunSummary RunSummary::of(const JetModel &model, bool inputsAccepted, std::span<const double> levels,
                          const ConcentrationAt &concentrationAt, const Limits &limits) {
    // Summary of a finished run.
    // 1. Messages with their severities, and the ending from the message that ended the run.
    // 2. Greatest centreline height and the touchdowns of the edge and the centreline.
    // 3. Per level: the centreline crossing and the region's extent; then the ground-level maximum, the
    //    searches under the limits: once one is reached, the searches left are marked not computed.
    if (levels.size() > maximumLevels) {
        throw std::invalid_argument("at most " + std::to_string(maximumLevels) + " levels, not " +
                                    std::to_string(levels.size()));
    }
    RunSummary summary;
    summary.outputSteps = model.numberOfOutputSteps();
    const JetModel::SourceFigures &figures = model.sourceFigures();
    for (const ErrorMessageCollection::ErrorMessage &m : model.messages()) {
        // Validation's message refuses the run however it reads.
        const MessageSeverity severity = inputsAccepted ? severityOf(m) : MessageSeverity::error;
        std::string text = m.text;
        if (inputsAccepted && m.level == 0) {
            if ((m.code == densityRatioCode && startsWith(m.text, refusalText)) ||
                (m.code == densityWarningCode && startsWith(m.text, densityWarningText))) {
                text += densityFigures(figures);
            } else if (m.code == velocityRatioCode && startsWith(m.text, refusalText)) {
                text += velocityFigures(figures, 3.0);
            } else if (m.code == velocityWarningCode && startsWith(m.text, velocityWarningText)) {
                text += velocityFigures(figures, 6.0);
            }
        }
        summary.messages.push_back(Message{std::move(text), severity, m.code, m.level});
    }
    const auto &messages = model.messages();
    const auto lastError = [&summary]() -> std::optional<std::string> {
        for (auto m = summary.messages.rbegin(); m != summary.messages.rend(); ++m) {
            if (m->severity == MessageSeverity::error) {
                return m->text;
            }
        }
        return std::nullopt;
    };
    if (!inputsAccepted) {
        summary.ending = Ending::inputsInvalid;
        summary.status = RunStatus::invalid;
        if (!messages.empty()) {
            summary.endMessage = summary.messages.front().text;
        }
    } else if (summary.outputSteps == 0) {
        for (std::size_t i = 0; i < messages.size(); ++i) {
            if (isRefusal(messages[i])) {
                summary.ending = Ending::refusedBySourceChecks;
                summary.status = RunStatus::refused;
                summary.endMessage = summary.messages[i].text;
                break;
            }
        }
        if (summary.status != RunStatus::refused) {
            summary.status = RunStatus::failed;
            summary.endMessage = lastError();
            if (!summary.endMessage) {
                summary.endMessage = "The run gave no output steps.";
                summary.addMessage(*summary.endMessage, MessageSeverity::error, integratorEndCode, 2);
            }
        }
    } else {
        for (std::size_t k = messages.size(); k-- > 0;) {
            const ErrorMessageCollection::ErrorMessage &m = messages[k];
            if (m.code == groundCode && m.level == 2 && startsWith(m.text, groundText)) {
                summary.ending = Ending::centrelineOnGround;
            } else if (m.code == boundaryLayerCode && m.level == 2 && startsWith(m.text, boundaryLayerText)) {
                summary.ending = Ending::topOfBoundaryLayer;
            } else if (isStoppingNotice(m)) {
                summary.ending = Ending::stoppingConcentration;
            } else {
                continue;
            }
            summary.endMessage = summary.messages[k].text;
            break;
        }
        if (summary.ending == Ending::other) {
            summary.endMessage = lastError();
        }
    }
    if (summary.outputSteps == 0) {
        for (const double level : levels) {
            summary.levels.push_back(LevelAnswer{level, {}, {}, {}, {}, false, false});
        }
        return summary;
    }

    const double bearing = model.referenceWindBearing() * degreesToRadians;
    const WindFrame frame{model.stackLocationX(), model.stackLocationY(), std::sin(bearing),
                          std::cos(bearing)};
    const Series series = readSeries(model);
    const std::size_t n = series.location.size();

    summary.lastStep = locate(series.location[n - 1], frame, series.arcLength[n - 1]);
    if (const std::optional<std::string> failure = nonPhysical(model, series, frame)) {
        // No distances from a run whose values are not physical.
        summary.status = RunStatus::failed;
        summary.endMessage = *failure;
        summary.addMessage(*failure, MessageSeverity::error, nonPhysicalCode, 2);
        summary.lastStep.reset();
        for (const double level : levels) {
            summary.levels.push_back(LevelAnswer{level, {}, {}, {}, {}, false, false});
        }
        return summary;
    }
    if (summary.ending == Ending::other) {
        summary.status = RunStatus::incomplete;
        if (!summary.endMessage) {
            const RunSummary::Location &end = *summary.lastStep;
            const bool atRange = end.arcLength >= JetModel::arcLengthRange * (1.0 - 1e-9);
            summary.limitEnd = LimitEnd{atRange, end.arcLength, end.downwind};
            summary.endMessage = limitEndText(*summary.limitEnd, std::nullopt);
            summary.addMessage(*summary.endMessage, MessageSeverity::error,
                               atRange ? rangeEndCode : integratorEndCode, 2);
        }
    } else {
        const bool anyWarning =
            std::any_of(summary.messages.begin(), summary.messages.end(),
                        [](const Message &m) { return m.severity != MessageSeverity::information; });
        summary.status = anyWarning ? RunStatus::warning : RunStatus::ok;
    }

    std::size_t highest = 0;
    for (std::size_t i = 1; i < n; ++i) {
        if (series.location[i].z() > series.location[highest].z()) {
            highest = i;
        }
    }
    summary.greatestCentrelineHeight = locate(series.location[highest], frame, series.arcLength[highest]);
    summary.edgeReachesGroundDownwind = firstTouchdown(
        series, frame, [&series](std::size_t i) { return series.location[i].z() - series.radius[i]; });
    summary.centrelineReachesGroundDownwind =
        firstTouchdown(series, frame, [&series](std::size_t i) { return series.location[i].z(); });
    // A run that the ground ended has its centreline there at its last step, whatever rounding leaves in z.
    if (!summary.centrelineReachesGroundDownwind && summary.ending == Ending::centrelineOnGround) {
        summary.centrelineReachesGroundDownwind = frame.downwind(series.location[n - 1]);
    }

    for (const double level : levels) {
        LevelAnswer answer{level, {}, {}, {}, {}, false};
        const auto &c = series.concentration;
        if (c[0] >= level) {
            answer.exceededAtEndOfRun = true;
            for (std::size_t i = 1; i < n; ++i) {
                if (c[i] < level) {
                    const double t = crossing(c[i - 1], c[i], level);
                    const double d0 = frame.downwind(series.location[i - 1]);
                    const double d1 = frame.downwind(series.location[i]);
                    answer.centrelineDownwindDistance = d0 + t * (d1 - d0);
                    answer.centrelineArcLength =
                        series.arcLength[i - 1] + t * (series.arcLength[i] - series.arcLength[i - 1]);
                    answer.exceededAtEndOfRun = false;
                    break;
                }
            }
        }
        answer.regionOpen = answer.exceededAtEndOfRun;
        summary.levels.push_back(answer);
    }
    if (!concentrationAt) {
        for (LevelAnswer &answer : summary.levels) {
            answer.regionComputed = false;
        }
        summary.groundMaximumComputed = false;
        return summary;
    }
    MeteredField metered(concentrationAt, limits);
    const ConcentrationAt field = [&metered](double x, double y, double z) { return metered(x, y, z); };
    std::size_t searched = 0;
    try {
        metered.check();
        for (; searched < summary.levels.size(); ++searched) {
            LevelAnswer &answer = summary.levels[searched];
            RegionSearch search(field, frame, answer.level);
            searchRegion(series, frame, search, answer.level);
            answer.farthestDownwindExtent = search.farthest();
            answer.greatestHalfWidth = search.halfWidth();
        }
        summary.groundMaximum = searchGround(series, frame, field);
    } catch (const LimitReached &reached) {
        for (std::size_t i = searched; i < summary.levels.size(); ++i) {
            summary.levels[i].regionComputed = false;
        }
        summary.groundMaximumComputed = false;
        summary.cut = reached.cut;
        summary.messages.push_back(cutMessage(reached.cut, model));
        // Answers left not computed make the summary incomplete, however the run itself ended.
        if (summary.status == RunStatus::ok || summary.status == RunStatus::warning) {
            summary.status = RunStatus::incomplete;
        }
    }
    return summary;
}

std::string RunSummary::limitEndText(const LimitEnd &end, std::optional<double> carriedOnFrom) {
    const std::string where =
        end.atRange
            ? "The run reached the end of its range, " + metres(JetModel::arcLengthRange) +
                  " m along the centreline, " + metres(end.downwind) +
                  " m downwind, before the stopping concentration"
            : "The run ended " + metres(end.arcLength) + " m along the centreline, " + metres(end.downwind) +
                  " m downwind, at the integrator's limit of 10000 calls, before the "
                  "stopping concentration";
    return where + (carriedOnFrom ? ": the far field carries the answers on from " + metres(*carriedOnFrom) +
                                        " m downwind, ahead of it."
                                  : ": nothing is computed beyond.");
}

} // namespace ostreljet
