#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/numerics/vector3.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace ostreljet {

class JetModel;

// The concentration (volume fraction) around a jet, implied by the centreline series of one run.
// A field is immutable once built: any number of threads may query one field at once without a lock.
// Values below the cutoff (normally the run's stopping concentration) are reported as 0.
class OSTRELJET_EXPORT ConcentrationField {
public:
    // Which points are passed over before the segments are searched.
    enum class Rules {
        // The component's rules: a point farther than the largest profile radius from the downwind line
        // through the stack, or higher than that radius above the highest centreline point, is 0.
        asSpecified,
        // No assumption about the jet's path: a point is 0 only where no segment of the jet can reach it.
        exact,
    };

    // What a field is built from; the spans must stay valid only during construction.
    struct Series {
        std::span<const vector3> locations;     // centreline positions, m
        std::span<const vector3> velocities;    // jet velocity at each step, m/s; only the direction is used
        std::span<const double> radii;          // profile radii, m; their count is the number of steps
        std::span<const double> concentrations; // centreline concentrations, volume fraction
        double maxProfileRadius = 0.0;          // m, for the as-specified rejection
        double maxCentrelineHeight = 0.0;       // m, for the as-specified rejection
        vector3 wind;                           // m/s, for the as-specified rejection
        double stackLocationX = 0.0;            // m, east
        double stackLocationY = 0.0;            // m, north
    };

    // Called now and then with the points done and the total.
    using GridProgress = std::function<void(std::int64_t done, std::int64_t total)>;

    // An empty field: every point is 0.
    ConcentrationField();
    ConcentrationField(const Series &series, Rules rules, double cutoff);
    // From the model's last run: its series, maxima, stack location and current wind. The cutoff is the
    // model's stopping concentration unless given (0 gives the uncut field).
    ConcentrationField(const JetModel &model, Rules rules);
    ConcentrationField(const JetModel &model, Rules rules, double cutoff);

    static Series seriesOf(const JetModel &model);

    // True when a field built from the model now, with these rules and this cutoff, would be this one:
    // the model has not run since, and no input this field captured has changed.
    bool isCurrentFor(const JetModel &model, double cutoff) const;

    Rules rules() const { return rules_; }
    double cutoff() const { return cutoff_; }
    // True when the run left fewer than two output steps, so that every point is 0.
    bool empty() const { return segments_.empty(); }

    // Concentration at a point (m, site frame).
    double concentration(double x, double y, double z) const;
    // The same, adding to `segmentsSearched` the segments whose samples were searched (the query's
    // cost, for callers that bound their work).
    double concentration(double x, double y, double z, std::uint64_t &segmentsSearched) const;
    double concentration(const vector3 &q) const { return concentration(q.x(), q.y(), q.z()); }

    // The distance from a sample of the centreline (m) at which the profile around it falls to `level`:
    // the inverse of the raised-cosine profile for a centreline concentration c and profile radius r
    // (volume fraction, m); 0 when c is below the level.
    static double distanceToLevel(double c, double r, double level);
    // The profile itself: the concentration (volume fraction) at `distance` m from a sample of centreline
    // concentration c and profile radius r; 0 at and beyond r.
    static double profileAt(double c, double r, double distance);

    // Concentrations on a regular grid, x outermost and z innermost. The x axis reaches xEnd; the y and
    // z axes stop one step short of their ends. A count of 0 or less gives no points.
    std::vector<double> grid(double xStart, double yStart, double zStart, double xEnd, double yEnd,
                             double zEnd, std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                             std::int32_t numberOfPointsZ) const;
    // The same grid written into out (nx * ny * nz values), evaluated on `threads` threads (0: one per
    // core) with results identical to the serial order. `progress` (optional) is called on the calling
    // thread.
    void grid(double *out, double xStart, double yStart, double zStart, double xEnd, double yEnd, double zEnd,
              std::int32_t numberOfPointsX, std::int32_t numberOfPointsY, std::int32_t numberOfPointsZ,
              unsigned threads, const GridProgress &progress = {}) const;

    // One vertical row of grid(): the nz heights from zStart towards zEnd at (x, y), into target. blocks
    // is the calling thread's scratch, kept from row to row.
    void gridRow(double *target, double x, double y, double zStart, double zEnd, std::int64_t nz,
                 std::vector<std::size_t> &blocks) const;
    // A row's work: the row's number, from 0 with y varying fastest.
    using RowWork = std::function<void(std::int64_t row)>;
    // Runs `rows` rows of `pointsPerRow` points each on `threads` threads (0: one per core), rows handed
    // out one at a time; each thread does its rows with its own RowWork, from makeWork. `progress` as
    // grid()'s; a thread that cannot start, or a progress report that throws, ends it with that error.
    static void forEachRow(std::int64_t rows, std::int64_t pointsPerRow, unsigned threads,
                           const GridProgress &progress, const std::function<RowWork()> &makeWork);

    // For tests: asked before each grid thread is started, with its number from 1; false makes that
    // start fail as it does when the system has no thread left.
    static inline std::function<bool(unsigned)> threadStartHook;

    // For tests: true makes every query search every segment in order, passing none over.
    static inline bool searchEverySegment = false;

    // nx * ny * nz in 64 bits; negative when an odd number of counts is negative. A product beyond the
    // 64-bit range saturates at the largest (or smallest) 64-bit value, which no memory can hold.
    static std::int64_t gridPointCount(std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                                       std::int32_t numberOfPointsZ);
    // Coordinate of point `index` of `count` on one grid axis; the x axis reaches its end, y and z do not.
    static double gridCoordinate(double start, double end, std::int64_t index, std::int64_t count,
                                 bool reachesEnd);

private:
    // One segment of the centreline between two output steps, with what every point query needs of it.
    struct Segment {
        vector3 p0;                  // start, m
        vector3 p1;                  // end, m
        vector3 t;                   // jet velocity at the start, m/s; only its direction matters
        double tLength;              // |t|, m/s
        double r0, r1;               // profile radii at the ends, m
        double c0, c1;               // centreline concentrations at the ends, volume fraction
        double reach;                // a bound on the interpolated radius, m
        vector3 d;                   // p1 - p0, m
        double inverseLengthSquared; // 1 / |d|^2 (0 for a segment of no length), 1/m^2
        vector3 low, high;           // corners of the box spanned by p0 and p1, m
        vector3 nearLow;  // the box grown by the reach on every side: no point outside it can receive
        vector3 nearHigh; // anything from this segment, m
    };
    static constexpr std::size_t blockSize = 16; // segments per block box

    bool rejectedQuickly(const vector3 &q) const;
    static bool beyondReach(const vector3 &q, const Segment &segment);
    static bool clearlyNotBeside(const vector3 &q, const Segment &segment, const Segment &before);
    static double contributeFromSegment(const vector3 &q, std::size_t i, const Segment &segment,
                                        double previousCosB, double &result);
    // The segment's value at q, or 0 when it cannot be above `floor` (volume fraction, at least 0).
    static double sampleSegment(const vector3 &q, const vector3 &a, const Segment &segment, double floor);

    Rules rules_ = Rules::exact;
    double cutoff_ = 0.0;              // volume fraction; smaller values are reported as 0
    double maxProfileRadius_ = 0.0;    // m
    double maxCentrelineHeight_ = 0.0; // m
    double windX_ = 0.0;               // m/s
    double windY_ = 0.0;               // m/s
    double stackLocationX_ = 0.0;      // m
    double stackLocationY_ = 0.0;      // m
    bool fromModel_ = false;           // built from a model, whose results revision follows
    std::uint64_t resultsRevision_ = 0;
    std::vector<Segment> segments_;
    // Boxes around blocks of segments (level 0) and around pairs of the boxes below (each level up),
    // ending in one box around the whole jet.
    // The end planes of a run of segments (each normal to the segment's velocity, through each end),
    // bounded so that a point ahead of all of them, or behind all of them, is known at once.
    struct Fan {
        bool usable = false; // false when a velocity is 0 or anything is not finite
        vector3 centre;      // of a sphere holding every end, m
        double radius = 0.0; // of that sphere, m
        vector3 axis;        // mean unit velocity
        double spread = 0.0; // largest distance of a unit velocity from the axis
        bool allOnOneSide(const vector3 &q) const;
    };
    struct BoxLevel {
        std::vector<vector3> low;  // m
        std::vector<vector3> high; // m
        std::vector<Fan> fans;     // of the segments under each box
    };
    std::vector<BoxLevel> boxLevels_;

    Fan fanOf(std::size_t first, std::size_t last) const;

    // The search of one point: the largest contribution met so far and the end-plane cosine of the last
    // segment visited, which the next segment's wedge test needs.
    class PointSearch {
    public:
        PointSearch(const ConcentrationField &field, const vector3 &q);
        // Searches every segment in order, passing none over.
        void contributeFromEverySegment();
        // Searches segment i unless it certainly cannot contribute.
        void visit(std::size_t i);
        // Whether the segments under box `index` of level `level` need searching one by one.
        bool needsChildren(std::size_t level, std::size_t index);
        void visitBlock(std::size_t block);
        // The answer: the largest contribution, or 0 below the cutoff.
        double value() const;
        std::uint64_t segmentsSearched() const { return segmentsSearched_; }

    private:
        const ConcentrationField &field_;
        double result_ = 0.0;       // volume fraction, the largest contribution so far
        double previousCosB_ = 0.0; // -
        vector3 q_;                 // m
        std::size_t previousIndex_ = static_cast<std::size_t>(-1); // segment whose cosB is held
        std::uint64_t segmentsSearched_ = 0;                       // segments whose samples were searched
    };
    // True when the point is 0 before any segment is searched: no segments, or the as-specified rejection.
    bool zeroAtOnce(const vector3 &q) const;
    // The blocks (in order) whose boxes hold some point of the vertical line at (x, y) from zLow to zHigh.
    void blocksOnVerticalLine(double x, double y, double zLow, double zHigh,
                              std::vector<std::size_t> &blocks) const;
    // The concentration at a point, searching only `blocks` (in order), which must hold every block
    // whose box holds the point.
    double concentrationFromBlocks(double x, double y, double z, std::span<const std::size_t> blocks) const;
};

} // namespace ostreljet
