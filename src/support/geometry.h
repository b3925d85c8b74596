// Plane geometry on whole-pixel points, shared by pairing, the candidate
// driver and symbol sampling. Angles are whole degrees counted
// counter-clockwise as seen on the page (y differences are taken upward).
#pragma once

#include <cstdint>

#include "support/point.h"

namespace pdf417 {

// Direction of the vector p -> q, 0 to 359: atan2(p.y - q.y, q.x - p.x)
// times 57.29582790879778, truncated, 360 added to a negative value.
int32_t DirectionDegrees(Point p, Point q);

// Angle from direction p3 -> p4 to direction p1 -> p2, 0 to 359.
int32_t AngleBetween(Point p1, Point p2, Point p3, Point p4);

// Where the line through p0, p1 meets the line through p2, p3, each
// coordinate rounded as floor(v + 0.5) and held within +-kCoordinateLimit;
// (0, 0) for parallel lines. A vertical line is carried as the slope 1e200.
Point LineIntersection(Point p0, Point p1, Point p2, Point p3);

// Distance of p from the line through a and b (cross product over length);
// for a equal to b, the distance of p from a.
double PointLineDistance(Point a, Point b, Point p);

// Whether segment p0-p1 crosses segment p2-p3: the intersection lies within
// 2 pixels of both lines and inside both segments' coordinate ranges, each
// range running from the segment's first value to its second as given (an
// inverted range is empty).
bool SegmentsCross(Point p0, Point p1, Point p2, Point p3);

}  // namespace pdf417
