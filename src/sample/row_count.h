// Row count estimation: scan lines laid across the symbol at every pixel
// step down its left boundary are compared with their neighbours; the row
// height shows as the spacing of the places where neighbours disagree.
#pragma once

#include <cstdint>

#include "image/bit_image.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// trunc(sqrt(dx * dx + dy * dy) + 0.5), at most INT32_MAX.
int32_t RoundedDistance(Point a, Point b);

// Whether the segment a-b is no longer than the image's width and height
// together: a boundary of a symbol in the image never is.
bool WithinImageReach(const BitImage& image, Point a, Point b);

// The points of the integer walk from a toward b (a included, b excluded):
// max(|dx|, |dy|) points in a new array of (5 * RoundedDistance(a, b)) div 4
// points (owned by the caller, FreeBytes). Returns 0, or -1 when storage
// runs out (*points null, *count 0).
int32_t EdgePoints(Point a, Point b, Point** points, int32_t* count);

// Per-mille agreement of the scan lines a0->b0 and a1->b1, compared as
// sequences of neighbouring run-pair widths; 0 when either line has fewer
// than two colour changes.
int32_t ScanLineSimilarity(Point a0, Point b0, Point a1, Point b1, const BitImage& image, SamplingWorkspace& ws);

// Whether profile entry i is a minimum or lies on a flat bottom whose both
// borders rise.
bool IsProfileMinimum(const int32_t* s, int32_t n, int32_t i);

// The index j (0..m-1, h[j] != 0) with the largest triangular-smoothed score
// over h[0..m-1] with half width w; the smaller j on ties, 0 when no score
// is above 0.
int32_t SmoothedHistogramPeak(const int32_t* h, int32_t m, int32_t w);

// Number of rows from the spacing of the profile minima below threshold.
// The minima are listed in minima[0..minimaCapacity-1]; minima past that
// capacity are not listed (a profile that long has more than capacity rows
// anyway). Returns 0, or -1 when storage runs out (*rows 0).
int32_t CountRowsFromProfile(const int32_t* s, int32_t n, int32_t threshold, int32_t* minima, int32_t minimaCapacity,
                             int32_t* rows);

// Estimates the rows of the symbol with the given corners and leaves the
// similarity profile in ws.profile (released first if one was left there).
// Returns 0, or -1 when storage runs out (*rows 0, no profile).
int32_t EstimateRowCount(Point lowerLeft, Point lowerRight, Point upperLeft, Point upperRight, const BitImage& image,
                         SamplingWorkspace& ws, int32_t* rows);

// Releases the profile and sets it to none.
void ReleaseRowSimilarityProfile(SamplingWorkspace& ws);

}  // namespace pdf417
