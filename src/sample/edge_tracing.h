// Edge tracing: finds the long left bar edges of a symbol region (set bit =
// dark), follows them down row by row, fits a line to each and selects the
// symbol's boundary edges.
#pragma once

#include <cstdint>

#include "image/bit_image.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// One traced edge. The fitted line is read as x = slope * y + intercept.
struct EdgeTrace {
  int32_t count;          // accepted points, corrected at the end of the trace
  Point upperEnd;         // the edge's first pixel
  Point lowerEnd;         // the last point the trace reached
  double meanProjection;  // mean projection of the accepted points
  double distance;        // set by SelectEdges: distance of the edge's line from the reference point
  float intercept;        // robust fit, set by FitUsableEdges for the edges a selection can take
  float slope;
  float deviation;
  int32_t pointCapacity;  // during the trace only
  int32_t pointCount;     // during the trace only: points stored
  Point* points;          // during the trace only; released by FitUsableEdges
};

// The selected edges: the first `used` records (when kept >= used) run from
// the start side to the stop side of the symbol.
struct EdgeSelection {
  int32_t kept;      // records in `edges`
  int32_t used;      // k + 9
  EdgeTrace* edges;  // owned
};

// Status of tracing and keeping edges when storage runs out or no edge is
// left.
inline constexpr int32_t kNoEdges = 20;

// Room for this many records at first; the store doubles whenever it is
// full.
inline constexpr int32_t kEdgeStoreStep = 100;

// Projection of (x, y) in the reader's frame.
double Projection(const ReaderFrame& frame, int32_t x, int32_t y);

// A new image of the same geometry in which exactly the first pixel of every
// run of set pixels of every row is set; nullptr when storage runs out. Rows
// wider than the workspace's run array can list are cut where the list ends
// (no mark after that point), so nothing is written out of bounds.
BitImage* MakeBarStartImage(const BitImage& image, SamplingWorkspace& ws);

// The most edges a region may have: a symbol of 90 rows and 32 codeword
// columns has some 12,300 bar edges, and noisy scans of real symbols come
// to a few thousand. A region with more is noise, and tracing it on would
// cost time and memory in proportion to its dark runs.
inline constexpr int32_t kMaxTracedEdges = 65536;

// Traces every edge of the bar-start image (clearing the marks it uses) and
// fits the lines a reading can use (FitUsableEdges with `keep`). Returns 0
// with the store (owned by the caller, FreeEdgeStore) and its count, or
// kNoEdges when storage runs out, no edge is found or there are more than
// kMaxTracedEdges (nothing is then handed out).
int32_t TraceEdges(BitImage& barStarts, const ReaderFrame& frame, int32_t keep, EdgeTrace** edges, int32_t* count);

// Follows one edge down from its first pixel (x, y); the record's
// meanProjection already holds p(x, y). The points stay in the record when
// it counts at least 3 of them (for FitUsableEdges). Returns 0, or -1 when
// its point storage cannot be obtained or grown (the edge then counts no
// point).
int32_t FollowEdge(BitImage& barStarts, const ReaderFrame& frame, int32_t x, int32_t y, EdgeTrace& edge);

// Fits the robust line of every edge a selection can take: those among the
// `keep` longest (ties included; SelectEdges keeps the 2k + 9 longest) and
// those at least half as long as the longest (the selection by layout and
// the frame from the edges take only these). The many short edges inside
// the symbol are never taken, and their fits were most of the tracing's
// time. Releases every record's points. An edge whose fit finds no storage
// is dropped (count 0).
void FitUsableEdges(EdgeTrace* edges, int32_t count, int32_t keep);

// Looks for the edge's pixel in row y, starting from column x with the step
// d = frame.stepDirection: forward at x, x + d, ..., x + tries * d (back
// becomes 0), then backward at x - d, ..., x - tries * d (back increases by
// one). Positions outside the image count as clear.
bool FindNextEdgePixel(const BitImage& barStarts, int32_t step, int32_t x, int32_t y, int32_t tries, int32_t* foundX,
                       int32_t* back);

// Robust line fit over the edge's stored points. Returns 0, or -1 when the
// two value arrays cannot be obtained.
int32_t FitEdge(EdgeTrace& edge);

// Keeps, in order, the edges with more than `limit` accepted points and
// shrinks the store to them. Returns 0, or kNoEdges when nothing is kept or the
// store cannot be resized (the store is then released and *edges is null).
int32_t DropShortEdges(EdgeTrace** edges, int32_t* count, int32_t limit);

// Keeps the 2k + 9 longest edges (fewer when there are fewer) and orders the
// first k + 9 of them by their distance from `reference`. Returns 0, or -1
// when storage runs out (the selection is then empty).
int32_t SelectEdges(const EdgeTrace* edges, int32_t count, int32_t k, Point reference, EdgeSelection& selection);

// The second reading's selection, used only after the one by length decoded
// nothing: among the edges at least half as long as the longest, the
// outermost two are taken as the start pattern's first bar and the stop
// pattern's last bar, and between them, for each place where an edge must
// stand (start bars at 0, 9, 11 and 13 modules, the k + 1 column boundaries
// every 17 modules from 17, the stop pattern's other bars 8, 12, 14 and 17
// modules after the last boundary), the edge whose mean projection lies
// nearest, within three quarters of a module. Length ties among edges that
// run the whole height (short symbols, where inner bar edges can line up
// through every row) cannot push a boundary out this way. Returns 0 with
// kept = used = k + 9, or -1 when no edge fits a place or storage runs out.
int32_t SelectEdgesByLayout(const EdgeTrace* edges, int32_t count, int32_t k, EdgeSelection& selection);

// The column count (not rounded) that the distance between the outermost
// long edges suggests for a pattern width (17 modules) of patternWidth
// pixels; 0 when there is no such pair of edges.
double ColumnsFromLayout(const EdgeTrace* edges, int32_t count, int32_t patternWidth);

// Releases an edge store (and any point arrays left in it).
void FreeEdgeStore(EdgeTrace* edges, int32_t count);

// Releases the selection's records; the selection becomes empty.
void FreeEdgeSelection(EdgeSelection& selection);

}  // namespace pdf417
