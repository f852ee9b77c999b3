#pragma once

#include "report/Point.hpp"
#include "report/Svg.hpp"

#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The parts of the report page, shared by the files that draw its sections.
namespace ostreljet::report {

inline constexpr double kDegrees = 0.017453292519943278; // radians per degree
inline constexpr double kViewWidth = 1100.0;             // px, side and plan views
inline constexpr double kViewLeft = 70.0;                // px
inline constexpr double kViewRight = 20.0;               // px
inline constexpr double kViewTop = 14.0;                 // px
inline constexpr double kViewBottom = 48.0;              // px
inline constexpr double kGridSpacing = 4.0;              // px between contour grid points

// Contour colours, from the lowest level up.
inline const std::array<const char *, 4> kContourColours = {"#2166ac", "#1b9e77", "#e08a00", "#c0262d"};
inline const char *const kBandColour = "#7fa7d9";
inline const char *const kCentrelineColour = "#0b2a55";

// Data ranges and plot height of a map-like view.
struct ViewFrame {
    double xLow, xHigh, yLow, yHigh;
    double plotHeight;   // px
    double exaggeration; // vertical scale over horizontal scale; 1 for a true-to-scale view
};

// One output step of the jet as a view sees it.
struct BandStep {
    Point centre;      // centreline in the view's plane, m
    Point tangent;     // direction of the jet within the view's plane (any length)
    double outOfPlane; // share of the jet's direction that points out of the view's plane, 0 to 1
    double radius;     // profile radius, m
};

// A contour level of the views: its value in the field's unit, the short label on its line and its name
// in the legend.
struct ContourLevel {
    double value;      // volume fraction, the model's unit
    std::string label; // as the user wrote it: "LFL", "2%"
    std::string name;  // with its value in the page's unit: "LFL (0.044 volume fraction)"
};

// Smallest and largest finite value of a series; (0, 0) when there is none.
std::pair<double, double> finiteRange(const std::vector<double> &values);

// Fits a map-like view of the data ranges into plotWidth, between minHeight and maxHeight px.
ViewFrame fitView(double xLow, double xHigh, double yLow, double yHigh, double plotWidth, double minHeight,
                  double maxHeight, bool keepYLow);
// Draws the contours of a sampled field with a label on the longest piece of each level, placed where
// it overlaps no other label; cells with a corner marked in `excluded` are left out. Each level keeps the
// colour of its place in `levels`. Returns the places of the levels drawn.
std::vector<std::size_t> drawContours(SvgPlot &plot, const std::vector<double> &xs,
                                      const std::vector<double> &ys, const std::vector<double> &values,
                                      const std::vector<ContourLevel> &levels,
                                      const std::vector<char> &excluded);
// The jet as a band: the centreline with the profile radius to either side, normal to the centreline in
// the view's plane, and where the jet runs out of the plane the ellipse that its circular section
// projects to (a vertical jet seen from above is a disc).
// With clipAtGround the band stops at the view's y = 0 (the ground of a side view).
void drawBand(SvgPlot &plot, const std::vector<BandStep> &steps, bool clipAtGround = false);
std::string contourLegend(const std::vector<std::size_t> &drawn, const std::vector<ContourLevel> &levels,
                          std::string_view unitLabel);
std::string exaggerationNote(const ViewFrame &frame);
double maxOf(const std::vector<double> &values);
// Grid coordinates that include both ends.
std::vector<double> axisPoints(double low, double high, int count);
// The field's grid stops one step short of the end on its y and z axes; this end makes the last point
// land on `last`.
double gridEndFor(double first, double last, int count);
// Axes of a log-log chart (SvgPlot draws in log10 units): each decade labelled with its value, grid
// lines, the frame and the titles.
void logLogAxes(SvgPlot &svg, const std::string &xTitle, const std::string &yTitle);
// A line's style: its colour, width (px) and dash pattern ("" for solid).
Style lineStyle(const char *stroke, double width, const char *dash = "");
// Whole decades around [low, high] (positive values), in log10 units.
std::pair<double, double> decades(double low, double high);
// An input's value as the inputs table shows it: the class letter, the averaging name or the number.
std::string propertyValueText(const PropertyTable::Property &property, double value);

// The sections of the report page, each drawn from one run.
class PageBuilder {
public:
    PageBuilder(const JetModel &model, const Scenario &scenario, bool inputsValid, unsigned threads,
                std::vector<ContourLevel> levels, std::string_view unitLabel)
        : model_(model), field_(model, scenario.farFieldOptions(), ConcentrationField::Rules::exact, 0.0),
          scenario_(scenario), valid_(inputsValid), threads_(threads), levels_(std::move(levels)),
          unitLabel_(unitLabel) {
        const double bearing = model.referenceWindBearing() * kDegrees;
        // Rounding leaves about 1e-16 where a bearing along an axis should give 0; such a wind is along it.
        windX_ = std::fabs(std::sin(bearing)) < 1e-12 ? 0.0 : std::sin(bearing);
        windY_ = std::fabs(std::cos(bearing)) < 1e-12 ? 0.0 : std::cos(bearing);
        steps_ = static_cast<std::size_t>(std::max(0, model.numberOfOutputSteps()));
        stop_ = model.stoppingConcentration();
    }

    std::string summary() const;
    std::string inputs() const;
    std::string messages() const;
    std::string sideView() const;
    std::string planView() const;
    std::string centrelinePlots() const;
    std::string atmospherePlots() const;

private:
    double downwind(const vector3 &p) const {
        return (p.x() - model_.stackLocationX()) * windX_ + (p.y() - model_.stackLocationY()) * windY_;
    }
    double plumeTop() const;
    std::vector<double> sidePlane(double offset, const std::vector<double> &ds,
                                  const std::vector<double> &zs) const;
    double sideOffset(double dLow, double dHigh, double zLow, double zHigh) const;
    // The point of the plane through the stack along the wind after a shift of `offset` (m) to the left,
    // looking downwind.
    Point planeOrigin(double offset) const {
        return Point{model_.stackLocationX() - offset * windY_, model_.stackLocationY() + offset * windX_};
    }
    double planHeight(double xLow, double xHigh, double yLow, double yHigh) const;
    // A plan view `width` px wide of the field at ground level or at the height of the plume's largest
    // horizontal section.
    std::string planViewAt(bool atGround, double width) const;
    // Whether a point lies beyond the run's end: past the plane through the last step normal to the jet.
    bool beyondEnd(double x, double y, double z) const;

    const JetModel &model_;
    // The whole plume (the jet ahead of the hand-off plane, the far field after it), the jet's part
    // without the cutoff so that the lowest contour follows the radial profile instead of the steps of the
    // grid where the field is cut to zero.
    WholePlume field_;
    const Scenario &scenario_;
    bool valid_;
    unsigned threads_;
    double windX_ = 1.0; // downwind unit vector, east component
    double windY_ = 0.0; // downwind unit vector, north component
    std::size_t steps_ = 0;
    double stop_ = 0.0;                // the run's stopping concentration
    std::vector<ContourLevel> levels_; // ascending
    std::string unitLabel_;            // unit of the levels' names
};

} // namespace ostreljet::report
