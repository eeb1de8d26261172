// The weakness score of a section and the selection of weak sections. A
// section scores high when much of its outline lies far from bending axes
// through its centroid compared with the section's reach across each axis:
// 16 angles, per outline point a sum of 1/q with q = reach x 6 / distance,
// weighted by half the length of the point's two outline edges.
#pragma once

#include <array>
#include <vector>

#include "mesh/section_outlines.h"

namespace vekmesh {

constexpr int kScoreAngles = 16;
constexpr double kScoreAngleStep = 0.3926991;  // pi / 8 as the score has always used it
constexpr double kShortReach = 10.0;           // reaches below this count a quarter
constexpr double kShortReachFactor = 0.25;
constexpr double kReachMultiple = 6.0;  // q = reach x 6 / distance
constexpr double kCountedQ = 20.0;      // only q below this counts (all q when axes only)

// Sections scoring strictly above this are weak.
constexpr float kWeakThreshold = 0.5f;

// The average of the polygons' area centroids (holes included, each counted
// once); a polygon of no area stands at the mean of its points.
std::array<double, 3> sectionCentroid(const std::vector<OutlineGroup>& groups);

// The section's reach at angle theta from the centroid c: the largest value
// of the across-coordinate cos theta x y - sin theta x x over the outline
// points, less the centroid's. It is the distance from the centroid to the
// far edge of the section across the direction theta, and is positive for
// any section of some width; a reach that is not positive (a section of no
// width across theta) makes that angle add nothing.
double sectionReach(const std::vector<OutlineGroup>& groups, const std::array<double, 3>& c,
                    double theta);

// The score, summed in double and handed out as a float (the records keep a
// float, and the threshold is compared with what they keep).
float sectionScore(const std::vector<OutlineGroup>& groups, bool axes_only);

// The threshold of one direction's scores: kWeakThreshold, or under the
// axes-only flag the k-th highest score, k = floor(0.1 x count), the lowest
// of the highest tenth. With fewer than ten scores (k = 0) there is no
// highest tenth, and k is taken as 1: the threshold is the highest score and
// nothing in that direction is weak.
float weakThreshold(const std::vector<float>& scores, bool axes_only);

inline bool isWeak(float score, float threshold) {
  return score > threshold;
}

}  // namespace vekmesh
