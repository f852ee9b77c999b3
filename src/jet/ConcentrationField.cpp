#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <thread>

namespace ostreljet {

namespace {

constexpr double pi = constants::pi;
constexpr double profileExponent = 0.7407407407407407; // 1 / 1.35
constexpr double firstSegmentPlaneTolerance = 1e-05;
constexpr int samplesPerSegment = 26;

// True when q lies outside the box; false when it lies inside or any bound is NaN (never skip then).
inline bool outside(const vector3 &q, const vector3 &low, const vector3 &high) {
    return q.x() < low.x() || q.x() > high.x() || q.y() < low.y() || q.y() > high.y() || q.z() < low.z() ||
           q.z() > high.z();
}

// The smaller of a and b, or b when it is NaN, so that a NaN bound spreads.
inline double lowerOrNaN(double a, double b) {
    return b < a || b != b ? b : a;
}
inline double higherOrNaN(double a, double b) {
    return b > a || b != b ? b : a;
}
inline vector3 lowerOf(const vector3 &a, const vector3 &b) {
    return vector3(lowerOrNaN(a.x(), b.x()), lowerOrNaN(a.y(), b.y()), lowerOrNaN(a.z(), b.z()));
}
inline vector3 higherOf(const vector3 &a, const vector3 &b) {
    return vector3(higherOrNaN(a.x(), b.x()), higherOrNaN(a.y(), b.y()), higherOrNaN(a.z(), b.z()));
}

} // namespace

bool ConcentrationField::beyondReach(const vector3 &q, const Segment &segment) {
    // True when q is farther from the segment's line piece than its reach, so that no sample of the
    // segment can reach it; the slack covers rounding in the distance many times over, and a NaN
    // anywhere gives false (never skip then).
    const vector3 a = q - segment.p0;
    const double along = dot(a, segment.d) * segment.inverseLengthSquared;
    const double s = along < 0.0 ? 0.0 : (along > 1.0 ? 1.0 : along);
    const vector3 off(a.x() - s * segment.d.x(), a.y() - s * segment.d.y(), a.z() - s * segment.d.z());
    const double slack = 1e-12 * (dot(a, a) + dot(segment.d, segment.d));
    return dot(off, off) - slack > segment.reach * segment.reach;
}

bool ConcentrationField::clearlyNotBeside(const vector3 &q, const Segment &segment, const Segment &before) {
    // True only when the full test would certainly find q beside neither the segment's end planes nor
    // the wedge it makes with the segment before: the same products, decided by their signs where the
    // cosines are far from any rounding to 0. Anything in doubt (q on a plane or at the shared end, a
    // value not finite) gives false, and the full test decides.
    const vector3 a = q - segment.p0; // also q less the end of the segment before: the same point
    const double alpha = dot(a, segment.t);
    const double beta = dot(q - segment.p1, segment.t);
    if (!(alpha * beta > 0.0)) {
        return false;
    }
    const double betaBefore = dot(a, before.t);
    const double floor = 1e-140 * (std::fabs(a.x()) + std::fabs(a.y()) + std::fabs(a.z()));
    if (!(std::fabs(alpha) >= floor * segment.tLength) ||
        !(std::fabs(betaBefore) >= floor * before.tLength)) {
        return false;
    }
    return (alpha > 0.0) == (betaBefore > 0.0);
}

ConcentrationField::ConcentrationField() = default;

ConcentrationField::ConcentrationField(const JetModel &model, Rules rules)
    : ConcentrationField(model, rules, model.stoppingConcentration()) {}

ConcentrationField::ConcentrationField(const JetModel &model, Rules rules, double cutoff)
    : ConcentrationField(seriesOf(model), rules, cutoff) {
    fromModel_ = true;
    resultsRevision_ = model.resultsRevision();
}

bool ConcentrationField::isCurrentFor(const JetModel &model, double cutoff) const {
    // Values are compared bit for bit, so that a NaN input still matches itself.
    const auto same = [](double a, double b) {
        return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
    };
    if (!fromModel_ || resultsRevision_ != model.resultsRevision() || !same(cutoff_, cutoff)) {
        return false;
    }
    return rules_ == Rules::exact ||
           (same(stackLocationX_, model.stackLocationX()) && same(stackLocationY_, model.stackLocationY()) &&
            same(windX_, model.atmosphere().velocity().x()) &&
            same(windY_, model.atmosphere().velocity().y()));
}

ConcentrationField::Series ConcentrationField::seriesOf(const JetModel &model) {
    Series series;
    series.locations = model.centrelineLocations();
    series.velocities = model.centrelineVelocityVectors();
    series.radii = model.profileRadii();
    series.concentrations = model.centrelineConcentrations();
    series.maxProfileRadius = model.maxProfileRadius();
    series.maxCentrelineHeight = model.maxCentrelineHeight();
    series.wind = model.atmosphere().velocity();
    series.stackLocationX = model.stackLocationX();
    series.stackLocationY = model.stackLocationY();
    return series;
}

ConcentrationField::ConcentrationField(const Series &series, Rules rules, double cutoff)
    : rules_(rules), cutoff_(cutoff), maxProfileRadius_(series.maxProfileRadius),
      maxCentrelineHeight_(series.maxCentrelineHeight), windX_(series.wind.x()), windY_(series.wind.y()),
      stackLocationX_(series.stackLocationX), stackLocationY_(series.stackLocationY) {
    // Caches what every query needs of each segment, then a box around each block of segments.
    // 1. Per segment: its ends, direction, radii and concentrations, and the box around it grown by the
    //    largest radius it can have.
    // 2. Per block of 16 segments: the union of their grown boxes.
    const std::size_t n = series.radii.size();
    if (n < 2) {
        return;
    }
    segments_.reserve(n - 1);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        Segment segment;
        segment.p0 = series.locations[i];
        segment.p1 = series.locations[i + 1];
        segment.t = series.velocities[i];
        segment.tLength = segment.t.norm();
        segment.d = segment.p1 - segment.p0;
        const double lengthSquared = dot(segment.d, segment.d);
        segment.inverseLengthSquared = lengthSquared > 0.0 ? 1.0 / lengthSquared : 0.0;
        segment.r0 = series.radii[i];
        segment.r1 = series.radii[i + 1];
        segment.c0 = series.concentrations[i];
        segment.c1 = series.concentrations[i + 1];
        // The interpolated radius never exceeds the larger end radius by more than rounding; the margin
        // keeps the bound safe. A NaN anywhere makes the bound NaN, and then the segment is always searched.
        const double larger = segment.r0 > segment.r1 ? segment.r0 : segment.r1;
        const bool hasNaN = segment.r0 != segment.r0 || segment.r1 != segment.r1 ||
                            segment.p0.x() != segment.p0.x() || segment.p1.x() != segment.p1.x() ||
                            segment.p0.y() != segment.p0.y() || segment.p1.y() != segment.p1.y() ||
                            segment.p0.z() != segment.p0.z() || segment.p1.z() != segment.p1.z();
        segment.reach = hasNaN ? std::numeric_limits<double>::quiet_NaN() : larger * (1.0 + 1e-9) + 1e-9;
        segment.low =
            vector3(std::fmin(segment.p0.x(), segment.p1.x()), std::fmin(segment.p0.y(), segment.p1.y()),
                    std::fmin(segment.p0.z(), segment.p1.z()));
        segment.high =
            vector3(std::fmax(segment.p0.x(), segment.p1.x()), std::fmax(segment.p0.y(), segment.p1.y()),
                    std::fmax(segment.p0.z(), segment.p1.z()));
        const double reach = segment.reach;
        segment.nearLow = vector3(segment.low.x() - reach, segment.low.y() - reach, segment.low.z() - reach);
        segment.nearHigh =
            vector3(segment.high.x() + reach, segment.high.y() + reach, segment.high.z() + reach);
        segments_.push_back(segment);
    }
    const std::size_t blocks = (segments_.size() + blockSize - 1) / blockSize;
    std::vector<vector3> low(blocks);
    std::vector<vector3> high(blocks);
    for (std::size_t block = 0; block < blocks; ++block) {
        const std::size_t first = block * blockSize;
        const std::size_t last = std::min(first + blockSize, segments_.size());
        low[block] = segments_[first].nearLow;
        high[block] = segments_[first].nearHigh;
        for (std::size_t i = first + 1; i < last; ++i) {
            low[block] = lowerOf(low[block], segments_[i].nearLow);
            high[block] = higherOf(high[block], segments_[i].nearHigh);
        }
    }
    // 3. A binary tree over the blocks: each level holds the unions of pairs of boxes of the level
    //    below, up to a single box around the whole jet.
    boxLevels_.push_back({std::move(low), std::move(high), {}});
    while (boxLevels_.back().low.size() > 1) {
        const BoxLevel &below = boxLevels_.back();
        BoxLevel level;
        for (std::size_t k = 0; k < below.low.size(); k += 2) {
            const bool pair = k + 1 < below.low.size();
            level.low.push_back(pair ? lowerOf(below.low[k], below.low[k + 1]) : below.low[k]);
            level.high.push_back(pair ? higherOf(below.high[k], below.high[k + 1]) : below.high[k]);
        }
        boxLevels_.push_back(std::move(level));
    }
    // 4. Per box of the tree, the fan of its segments' end planes (see Fan).
    for (std::size_t l = 0; l < boxLevels_.size(); ++l) {
        const std::size_t span = blockSize << l; // segments under one box of this level
        BoxLevel &level = boxLevels_[l];
        for (std::size_t k = 0; k < level.low.size(); ++k) {
            level.fans.push_back(fanOf(k * span, std::min((k + 1) * span, segments_.size())));
        }
    }
}

ConcentrationField::Fan ConcentrationField::fanOf(std::size_t first, std::size_t last) const {
    // Centre and radius of a sphere around the ends of the segments, the mean direction of their
    // velocities and the farthest any of those directions strays from it. A segment of no velocity, or
    // anything not finite, leaves the fan unusable.
    Fan fan;
    vector3 low = segments_[first].low;
    vector3 high = segments_[first].high;
    vector3 sum(0.0, 0.0, 0.0);
    for (std::size_t i = first; i < last; ++i) {
        const Segment &segment = segments_[i];
        if (!(segment.tLength > 0.0) || !std::isfinite(segment.tLength)) {
            return fan;
        }
        low = lowerOf(low, segment.low);
        high = higherOf(high, segment.high);
        sum += segment.t * (1.0 / segment.tLength);
    }
    const double sumLength = sum.norm();
    if (!(sumLength > 0.0) || !std::isfinite(sumLength)) {
        return fan;
    }
    fan.centre = (low + high) * 0.5;
    fan.axis = sum * (1.0 / sumLength);
    for (std::size_t i = first; i < last; ++i) {
        const Segment &segment = segments_[i];
        fan.radius =
            std::max({fan.radius, (segment.p0 - fan.centre).norm(), (segment.p1 - fan.centre).norm()});
        fan.spread = std::max(fan.spread, (segment.t * (1.0 / segment.tLength) - fan.axis).norm());
    }
    fan.usable = std::isfinite(fan.radius) && std::isfinite(fan.spread) && std::isfinite(fan.centre.x()) &&
                 std::isfinite(fan.centre.y()) && std::isfinite(fan.centre.z());
    return fan;
}

bool ConcentrationField::Fan::allOnOneSide(const vector3 &q) const {
    // For a unit velocity within `spread` of the axis and an end within `radius` of the centre, the
    // distance of q ahead of that end's plane lies within along +- (|q - centre| spread + radius). When
    // that whole interval is clear of 0 by more than rounding could move it, q is ahead of every plane
    // or behind every one.
    if (!usable) {
        return false;
    }
    const vector3 d = q - centre;
    const double along = dot(d, axis);
    const double distance = d.norm();
    const double slack = distance * spread + radius;
    const double margin = 1e-9 * (distance + radius + std::fabs(centre.x()) + std::fabs(centre.y()) +
                                  std::fabs(centre.z()) + 1.0);
    return along - slack > margin || along + slack < -margin;
}

bool ConcentrationField::rejectedQuickly(const vector3 &q) const {
    // The jet is assumed to stay within one largest radius of the downwind line through the stack.
    const double wx = windX_;
    const double wy = windY_;
    if (wx == 0.0 && wy == 0.0) {
        return false;
    }
    const double c = wx * stackLocationY_ - wy * stackLocationX_;
    const double m = wx * q.x() + wy * q.y();
    const double w2 = wx * wx + wy * wy;
    const double footX = (m * wx - c * wy) / w2;
    const double footY = (m * wy + c * wx) / w2;
    const double dx = q.x() - footX;
    const double dy = q.y() - footY;
    const double d = std::sqrt(dx * dx + dy * dy);
    return d > maxProfileRadius_ || q.z() > maxProfileRadius_ + maxCentrelineHeight_;
}

double ConcentrationField::concentration(double x, double y, double z) const {
    std::uint64_t ignored = 0;
    return concentration(x, y, z, ignored);
}

double ConcentrationField::concentration(double x, double y, double z,
                                         std::uint64_t &segmentsSearched) const {
    // Concentration at a point from the centreline series.
    // 1. Under the as-specified rules, reject points far from the downwind line through the stack or
    //    above the jet's reach.
    // 2. For each segment beside which the point lies, find the sample whose offset is most nearly
    //    normal to the jet, interpolate radius and centreline concentration there and apply the
    //    raised-cosine profile; keep the largest contribution.
    // 3. Report values below the cutoff as 0.
    // Segments (and blocks of them, and the tree's boxes around those) whose reach does not include the
    // point cannot contribute, so they are passed over (see PointSearch). The answer is the same.
    const vector3 q(x, y, z);
    if (zeroAtOnce(q)) {
        return 0.0;
    }
    PointSearch search(*this, q);
    if (searchEverySegment) {
        search.contributeFromEverySegment();
        segmentsSearched += search.segmentsSearched();
        return search.value();
    }
    // The tree is walked depth first, left before right, so that segments are met in their own order.
    struct Node {
        std::size_t level;
        std::size_t index;
    };
    Node pending[64]; // two per level at most; 64 levels would hold 2^66 segments
    std::size_t top = 0;
    pending[top++] = {boxLevels_.size() - 1, 0};
    while (top > 0) {
        const Node node = pending[--top];
        if (!search.needsChildren(node.level, node.index)) {
            continue;
        }
        if (node.level > 0) {
            const std::size_t left = 2 * node.index;
            if (left + 1 < boxLevels_[node.level - 1].low.size()) {
                pending[top++] = {node.level - 1, left + 1};
            }
            pending[top++] = {node.level - 1, left};
            continue;
        }
        search.visitBlock(node.index);
    }
    segmentsSearched += search.segmentsSearched();
    return search.value();
}

double ConcentrationField::concentrationFromBlocks(double x, double y, double z,
                                                   std::span<const std::size_t> blocks) const {
    // The same answer as concentration(x, y, z) when `blocks` holds, in order, every block whose box can
    // hold the point: those blocks are searched as the tree's walk would reach them.
    const vector3 q(x, y, z);
    if (searchEverySegment || zeroAtOnce(q)) {
        return concentration(x, y, z);
    }
    PointSearch search(*this, q);
    for (const std::size_t block : blocks) {
        if (search.needsChildren(0, block)) {
            search.visitBlock(block);
        }
    }
    return search.value();
}

bool ConcentrationField::zeroAtOnce(const vector3 &q) const {
    return segments_.empty() || (rules_ == Rules::asSpecified && rejectedQuickly(q));
}

void ConcentrationField::blocksOnVerticalLine(double x, double y, double zLow, double zHigh,
                                              std::vector<std::size_t> &blocks) const {
    blocks.clear();
    const BoxLevel &leaves = boxLevels_.front();
    for (std::size_t b = 0; b < leaves.low.size(); ++b) {
        const vector3 &low = leaves.low[b];
        const vector3 &high = leaves.high[b];
        // A NaN bound never leaves a block out.
        if (!(x < low.x() || x > high.x() || y < low.y() || y > high.y() || zHigh < low.z() ||
              zLow > high.z())) {
            blocks.push_back(b);
        }
    }
}

ConcentrationField::PointSearch::PointSearch(const ConcentrationField &field, const vector3 &q)
    : field_(field), q_(q) {}

void ConcentrationField::PointSearch::contributeFromEverySegment() {
    const std::vector<Segment> &segments = field_.segments_;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        previousCosB_ = contributeFromSegment(q_, i, segments[i], previousCosB_, result_);
    }
    segmentsSearched_ += segments.size();
}

void ConcentrationField::PointSearch::visit(std::size_t i) {
    // Segments whose reach does not include the point, or beside which it clearly does not lie, are
    // passed over; whether a segment lies beside the point depends only on it and its predecessor, whose
    // end-plane cosine is then worked out as the full loop would have.
    const std::vector<Segment> &segments = field_.segments_;
    const Segment &segment = segments[i];
    if (outside(q_, segment.nearLow, segment.nearHigh) || beyondReach(q_, segment) ||
        (i > 0 && clearlyNotBeside(q_, segment, segments[i - 1]))) {
        return;
    }
    if (i > 0 && previousIndex_ != i - 1) {
        const Segment &before = segments[i - 1];
        const vector3 b = q_ - before.p1;
        previousCosB_ = dot(b, before.t) / (before.tLength * b.norm());
    }
    previousCosB_ = contributeFromSegment(q_, i, segment, previousCosB_, result_);
    previousIndex_ = i;
    ++segmentsSearched_;
}

bool ConcentrationField::PointSearch::needsChildren(std::size_t level, std::size_t index) {
    // False when the box leaves the point out, or when the point is ahead of every end plane of the
    // box's segments or behind every one: then none of them has it between its planes, and none but the
    // first can have it in the wedge with the segment before, which is visited here.
    const BoxLevel &boxes = field_.boxLevels_[level];
    if (outside(q_, boxes.low[index], boxes.high[index])) {
        return false;
    }
    if (boxes.fans[index].allOnOneSide(q_)) {
        visit(index * (blockSize << level));
        return false;
    }
    return true;
}

void ConcentrationField::PointSearch::visitBlock(std::size_t block) {
    const std::size_t last = std::min((block + 1) * blockSize, field_.segments_.size());
    for (std::size_t i = block * blockSize; i < last; ++i) {
        visit(i);
    }
}

double ConcentrationField::PointSearch::value() const {
    return field_.cutoff_ > result_ ? 0.0 : result_;
}

double ConcentrationField::contributeFromSegment(const vector3 &q, std::size_t i, const Segment &segment,
                                                 double previousCosB, double &result) {
    // Decide whether q lies beside the segment (between its end planes, in the wedge outside a bend, or
    // for the first segment on its planes or inside its box on its axis); if so, search its samples.
    // Returns the cosine at the segment's end plane, which the next segment's wedge test needs.
    const vector3 &p0 = segment.p0;
    const vector3 &p1 = segment.p1;
    const vector3 &t = segment.t;
    const vector3 a = q - p0;
    const vector3 b = q - p1;
    const double tLength = segment.tLength;
    const double aLength = a.norm();
    const double bLength = b.norm();
    const double alpha = dot(a, t);
    const double beta = dot(b, t);
    const double cosA = alpha / (tLength * aLength);
    const double cosB = beta / (tLength * bLength);

    bool beside = alpha * beta <= 0.0;
    if (!beside && i > 0) {
        beside = previousCosB * cosA <= 0.0;
    } else if (!beside) {
        beside = std::fabs(cosA) <= firstSegmentPlaneTolerance ||
                 std::fabs(cosB) <= firstSegmentPlaneTolerance || aLength == 0.0 || bLength == 0.0;
        if (!beside && cross(a, t).norm() == 0.0) {
            const double spanX = std::fabs(p1.x() - p0.x());
            const double spanY = std::fabs(p1.y() - p0.y());
            const double spanZ = std::fabs(p1.z() - p0.z());
            beside = std::fabs(p1.x() - q.x()) < spanX && std::fabs(p0.x() - q.x()) < spanX &&
                     std::fabs(p1.y() - q.y()) < spanY && std::fabs(p0.y() - q.y()) < spanY &&
                     std::fabs(p1.z() - q.z()) < spanZ && std::fabs(p0.z() - q.z()) < spanZ;
        }
    }
    if (beside) {
        const double gapX = std::fmax(std::fmax(segment.low.x() - q.x(), q.x() - segment.high.x()), 0.0);
        const double gapY = std::fmax(std::fmax(segment.low.y() - q.y(), q.y() - segment.high.y()), 0.0);
        const double gapZ = std::fmax(std::fmax(segment.low.z() - q.z(), q.z() - segment.high.z()), 0.0);
        const bool outOfReach = gapX * gapX + gapY * gapY + gapZ * gapZ > segment.reach * segment.reach;
        // No sample gives more than the greater end concentration (the profile is at most 1; the margin
        // covers the interpolation's roundings): a segment that cannot beat the greatest so far is not
        // searched.
        const bool cannotBeat = segment.c0 >= 0.0 && segment.c1 >= 0.0 &&
                                result >= std::fmax(segment.c0, segment.c1) * (1.0 + 1e-12);
        if (!outOfReach && !cannotBeat) {
            const double value = sampleSegment(q, a, segment, result);
            if (value > result) {
                result = value;
            }
        }
    }
    return cosB;
}

namespace {

// The samples' places along a segment, s = k / 25, and their weights 1 - s on the start.
struct SamplePlaces {
    double s[samplesPerSegment];
    double w[samplesPerSegment];
    constexpr SamplePlaces() : s{}, w{} {
        for (int k = 0; k < samplesPerSegment; ++k) {
            s[k] = static_cast<double>(k) / 25.0;
            w[k] = 1.0 - s[k];
        }
    }
};
constexpr SamplePlaces samplePlaces;

// Every sample's offset from q worked out once: along = t . offset, |offset|^2, their ratio
// along^2 / |offset|^2 (which orders the squared cosines), the least ratio, and whether any offset is out
// of range or NaN.
struct SampleScan {
    double along[samplesPerSegment];   // m2/s
    double squared[samplesPerSegment]; // m2
    double ratio[samplesPerSegment];   // m2/s2
    double least;                      // m2/s2
    int outOfRange;
};

// On x86-64 the scan is also compiled for AVX2 (without FMA, so every operation rounds as it does
// without it: the same bits) and the processor's best is chosen when the library loads.
#if defined(__x86_64__) && defined(__has_attribute)
#if __has_attribute(target_clones)
#define OSTRELJET_SAMPLE_SCAN_CLONES __attribute__((target_clones("avx2", "default")))
#endif
#endif
#ifndef OSTRELJET_SAMPLE_SCAN_CLONES
#define OSTRELJET_SAMPLE_SCAN_CLONES
#endif

OSTRELJET_SAMPLE_SCAN_CLONES void scanSamples(const vector3 &q, const vector3 &p0, const vector3 &p1,
                                              const vector3 &t, SampleScan &scan) {
    for (int k = 0; k < samplesPerSegment; ++k) {
        const double s = samplePlaces.s[k];
        const double w = samplePlaces.w[k];
        const double dx = (q.x() - w * p0.x()) - s * p1.x();
        const double dy = (q.y() - w * p0.y()) - s * p1.y();
        const double dz = (q.z() - w * p0.z()) - s * p1.z();
        scan.squared[k] = dx * dx + dy * dy + dz * dz;
        scan.along[k] = t.x() * dx + t.y() * dy + t.z() * dz;
        scan.ratio[k] = scan.along[k] * scan.along[k] / scan.squared[k];
    }
    double least = scan.ratio[0];
    int outOfRange = 0;
    for (int k = 0; k < samplesPerSegment; ++k) {
        least =
            scan.ratio[k] < least ? scan.ratio[k] : least; // a NaN ratio comes with an offset out of range
        outOfRange |= static_cast<int>(!(scan.squared[k] >= 1e-100)) |
                      static_cast<int>(!(scan.squared[k] <= 1e100)) |
                      static_cast<int>(!(std::fabs(scan.along[k]) <= 1e100));
    }
    scan.least = least;
    scan.outOfRange = outOfRange;
}

} // namespace

double ConcentrationField::sampleSegment(const vector3 &q, const vector3 &a, const Segment &segment,
                                         double floor) {
    // Search 26 samples (both ends included) for the offset most nearly normal to the jet; ties go to
    // the later sample. Then apply the raised-cosine profile at the interpolated radius.
    // A sample's cosine with the jet is along / (|t| |offset|), along = t . offset. Scanned in order, the
    // chosen sample is the last whose |cosine| is the least of all. Phases:
    // 1. Every sample's along and |offset|^2, and along^2 / |offset|^2, which orders the squared cosines.
    // 2. Samples whose ratio exceeds the least by more than a relative 1e-9 (far beyond the few roundings
    //    on either side) cannot be the chosen one; the rest (one or two, mostly) are compared by their
    //    cosines themselves, each worked out from its offset as it always was, so the choice is the same to
    //    the bit. Where any value is not finite or far out of the range of doubles, or some sample is
    //    (nearly) normal to the jet, the samples are scanned one by one instead, comparing cosines.
    const vector3 &p0 = segment.p0;
    const vector3 &p1 = segment.p1;
    const vector3 &t = segment.t;
    const double tLength = segment.tLength;
    auto sampleOffset = [&](int k) {
        const double s = samplePlaces.s[k];
        const double w = samplePlaces.w[k];
        return vector3((q.x() - w * p0.x()) - s * p1.x(), (q.y() - w * p0.y()) - s * p1.y(),
                       (q.z() - w * p0.z()) - s * p1.z());
    };
    SampleScan scan;
    scanSamples(q, p0, p1, t, scan);
    const double *along = scan.along;
    const double *squared = scan.squared;
    const double *ratio = scan.ratio;
    const double least = scan.least;
    const bool ordinary = scan.outOfRange == 0 && least >= 1e-200 && least <= 1e200;
    auto cosine = [&](int k) { return std::fabs(along[k] / (tLength * std::sqrt(squared[k]))); };
    int best = -1; // the initial offset, a: the same as sample 0's
    if (ordinary) {
        const double bound = least * (1.0 + 1e-9);
        double bestCosine = 0.0;
        for (int k = 0; k < samplesPerSegment; ++k) {
            if (ratio[k] <= bound && (best < 0 || bestCosine >= cosine(k))) {
                best = k;
                bestCosine = cosine(k);
            }
        }
    } else {
        // a.norm() and the samples' norms: the same sums.
        double bestAlong = dot(t, a);
        double bestSquared = a.x() * a.x() + a.y() * a.y() + a.z() * a.z();
        for (int k = 0; k < samplesPerSegment; ++k) {
            const double dkLength = std::sqrt(squared[k]);
            if (dkLength == 0.0 || std::fabs(bestAlong / (tLength * std::sqrt(bestSquared))) >=
                                       std::fabs(along[k] / (tLength * dkLength))) {
                bestAlong = along[k];
                bestSquared = squared[k];
                best = k;
            }
        }
    }
    double radius = 0.0;
    double concentration = 0.0;
    if (best >= 0) {
        const double w = 1.0 - static_cast<double>(best) / 25.0;
        radius = w * segment.r0 + (static_cast<double>(best) * segment.r1) / 25.0;
        concentration = w * segment.c0 + (static_cast<double>(best) * segment.c1) / 25.0;
    }
    if (!(concentration > floor)) {
        return 0.0; // the profile is at most 1: no more than the floor, which is at least 0
    }
    return profileAt(concentration, radius, (best >= 0 ? sampleOffset(best) : a).norm());
}

double ConcentrationField::profileAt(double c, double r, double distance) {
    if (r > distance) {
        return c * std::pow(0.5 + 0.5 * std::cos(pi * distance / r), profileExponent);
    }
    return 0.0;
}

double ConcentrationField::distanceToLevel(double c, double r, double level) {
    // c (0.5 + 0.5 cos(pi d / r))^(1/1.35) = level, solved for d.
    if (!(c >= level) || !(r > 0.0)) {
        return 0.0;
    }
    const double share = level > 0.0 ? std::pow(level / c, 1.0 / profileExponent) : 0.0;
    return r / pi * std::acos(std::fmin(1.0, std::fmax(-1.0, 2.0 * share - 1.0)));
}

std::vector<double> ConcentrationField::grid(double xStart, double yStart, double zStart, double xEnd,
                                             double yEnd, double zEnd, std::int32_t numberOfPointsX,
                                             std::int32_t numberOfPointsY,
                                             std::int32_t numberOfPointsZ) const {
    const std::int64_t total = gridPointCount(numberOfPointsX, numberOfPointsY, numberOfPointsZ);
    if (total < 0) {
        throw std::bad_alloc();
    }
    std::vector<double> values(static_cast<std::size_t>(total));
    grid(values.data(), xStart, yStart, zStart, xEnd, yEnd, zEnd, numberOfPointsX, numberOfPointsY,
         numberOfPointsZ, 1);
    return values;
}

std::int64_t ConcentrationField::gridPointCount(std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                                                std::int32_t numberOfPointsZ) {
    // Two 32-bit factors always fit in 64 bits; the third may not.
    const std::int64_t plane = static_cast<std::int64_t>(numberOfPointsX) * numberOfPointsY;
    std::int64_t total = 0;
    if (__builtin_mul_overflow(plane, static_cast<std::int64_t>(numberOfPointsZ), &total)) {
        return (plane < 0) != (numberOfPointsZ < 0) ? std::numeric_limits<std::int64_t>::min()
                                                    : std::numeric_limits<std::int64_t>::max();
    }
    return total;
}

void ConcentrationField::grid(double *out, double xStart, double yStart, double zStart, double xEnd,
                              double yEnd, double zEnd, std::int32_t numberOfPointsX,
                              std::int32_t numberOfPointsY, std::int32_t numberOfPointsZ, unsigned threads,
                              const GridProgress &progress) const {
    // Points are independent, so rows of constant (x, y) are handed out to threads in any order and each
    // value lands at its own position: the result is the same, bit for bit, as the serial order.
    const std::int64_t nx = numberOfPointsX;
    const std::int64_t ny = numberOfPointsY;
    const std::int64_t nz = numberOfPointsZ;
    if (nx <= 0 || ny <= 0 || nz <= 0) {
        return;
    }
    forEachRow(nx * ny, nz, threads, progress, [&]() -> RowWork {
        auto blocks = std::make_shared<std::vector<std::size_t>>();
        blocks->reserve(boxLevels_.empty() ? 0 : boxLevels_.front().low.size());
        return [=, this](std::int64_t row) {
            gridRow(out + row * nz, gridCoordinate(xStart, xEnd, row / ny, nx, true),
                    gridCoordinate(yStart, yEnd, row % ny, ny, false), zStart, zEnd, nz, *blocks);
        };
    });
}

void ConcentrationField::gridRow(double *target, double x, double y, double zStart, double zEnd,
                                 std::int64_t nz, std::vector<std::size_t> &blocks) const {
    // A row's points share x and y: the blocks whose boxes hold that vertical line over the row's heights
    // are found once per row, and only they are searched for each point.
    if (nz <= 0) {
        return;
    }
    if (!boxLevels_.empty()) {
        const double zLast = gridCoordinate(zStart, zEnd, nz - 1, nz, false);
        blocksOnVerticalLine(x, y, std::fmin(zStart, zLast), std::fmax(zStart, zLast), blocks);
    }
    for (std::int64_t k = 0; k < nz; ++k) {
        target[k] = concentrationFromBlocks(x, y, gridCoordinate(zStart, zEnd, k, nz, false), blocks);
    }
}

void ConcentrationField::forEachRow(std::int64_t rows, std::int64_t pointsPerRow, unsigned threads,
                                    const GridProgress &progress, const std::function<RowWork()> &makeWork) {
    // Runs of rows are taken from a shared counter, so that a thread whose rows are cheap takes more of
    // them; a run holds about kPointsPerTake points, so that rows of a few cheap points (wholly to the side
    // of a far-field plume: a fill with zeros) do not spend their time passing the counter between cores.
    if (rows <= 0) {
        return;
    }
    constexpr std::int64_t kPointsPerTake = 2048;
    const std::int64_t total = rows * pointsPerRow;
    const std::int64_t rowsPerTake =
        std::max<std::int64_t>(1, kPointsPerTake / std::max<std::int64_t>(pointsPerRow, 1));
    alignas(64) std::atomic<std::int64_t> nextRow{0};
    alignas(64) std::atomic<std::int64_t> pointsDone{0};
    auto work = [&]() {
        const RowWork rowWork = makeWork();
        for (std::int64_t first = nextRow.fetch_add(rowsPerTake); first < rows;
             first = nextRow.fetch_add(rowsPerTake)) {
            const std::int64_t last = std::min(rows, first + rowsPerTake);
            for (std::int64_t row = first; row < last; ++row) {
                rowWork(row);
            }
            pointsDone.fetch_add((last - first) * pointsPerRow, std::memory_order_relaxed);
        }
    };
    if (threads == 0) {
        threads = std::thread::hardware_concurrency();
    }
    if (threads <= 1 || rows == 1) {
        if (!progress) {
            work();
            return;
        }
        threads = 1;
    }
    // A thread that cannot be started, or a progress report that throws, ends the grid with that error
    // once the threads already started have been told to stop and joined.
    std::vector<std::thread> helpers;
    try {
        helpers.reserve(threads);
        auto start = [&](unsigned number) {
            try {
                if (threadStartHook && !threadStartHook(number)) {
                    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
                }
                helpers.emplace_back(work);
            } catch (const std::system_error &error) {
                throw std::system_error(error.code(), "cannot start grid thread " + std::to_string(number) +
                                                          " of " + std::to_string(threads));
            }
        };
        for (unsigned h = 1; h < threads; ++h) {
            start(h);
        }
        if (progress) {
            // This thread reports progress while the others work.
            start(threads);
            while (pointsDone.load() < total) {
                progress(pointsDone.load(), total);
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            progress(total, total);
        } else {
            work();
        }
    } catch (...) {
        nextRow.store(rows);
        for (std::thread &helper : helpers) {
            helper.join();
        }
        throw;
    }
    for (std::thread &helper : helpers) {
        helper.join();
    }
}

double ConcentrationField::gridCoordinate(double start, double end, std::int64_t index, std::int64_t count,
                                          bool reachesEnd) {
    if (count == 1) {
        return start;
    }
    const double divisor = reachesEnd ? static_cast<double>(count - 1) : static_cast<double>(count);
    return start + static_cast<double>(index) / divisor * (end - start);
}

} // namespace ostreljet
