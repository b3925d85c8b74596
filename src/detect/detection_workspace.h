// Working records of symbol detection and the fixed-capacity store they live
// in. The store is allocated zero-filled once per read by the caller and
// passed down to every detection stage; each stage initialises what it reads,
// so no result depends on an earlier call.
//
// Capacities and what happens past them (nothing is ever written beyond a
// store):
// - Run list, run widths and the two fit stores hold kRunCapacity entries.
//   Row run lists and sampled segments are cut at that capacity by
//   ListRowRuns / SampleLine (the row is treated as ending at the first change
//   that does not fit), so a row wider than 8187 pixels with more transitions
//   than that simply loses its right-hand part. An edge fit takes at most
//   kRunCapacity - 1 hits (the stores are indexed from 1): a column with more
//   hits is fitted through its first kRunCapacity - 1 (topmost) hits.
// - The hit store holds kHitCapacity hits of one row: the window search of a
//   row stops once it is full, so further hits on that row are dropped.
//   (A hit spans about eight runs, so a run list cut at kRunCapacity yields
//   around a thousand hits at most; the limit is a safety net.)
// - The cluster table holds kClusterCapacity clusters, linked and merged
//   together. Linking hands out at most kClusterCapacity labels; a hit that
//   would need a further label is marked kDroppedLabel and so is every hit
//   that continues it, so the column is dropped as a whole and never enters a
//   cluster. Merging keeps only the first kClusterCapacity - L groups (in
//   group order, i.e. order of first appearance); later groups are dropped
//   and take part in neither fitting nor pairing.
#pragma once

#include <cstdint>

#include "image/bit_image.h"
#include "support/line_sampler.h"

namespace pdf417 {

inline constexpr int32_t kRunCapacity = kScanLineCapacity;  // 8192
inline constexpr int32_t kHitCapacity = 1500;
inline constexpr int32_t kClusterCapacity = 1500;
inline constexpr int32_t kDroppedLabel = -1;

// Kind of a pattern hit, one bit per template.
enum PatternKind : int32_t {
  START_FORWARD = 1,   // 8 1 1 1 1 1 1 3, outer edge at xStart
  START_REVERSED = 2,  // 3 1 1 1 1 1 1 8, outer edge at xEnd
  STOP_FORWARD = 4,    // 7 1 1 3 1 1 1 2 1, outer edge at xEnd
  STOP_REVERSED = 8,   // 1 2 1 1 1 3 1 1 7, outer edge at xStart
};

inline bool IsStartKind(int32_t kind) { return kind == START_FORWARD || kind == START_REVERSED; }

// Whether the symbol's outer edge lies at the left end (xStart) of a hit of
// this kind.
inline bool IsLeftEdgeKind(int32_t kind) { return kind == START_FORWARD || kind == STOP_REVERSED; }

// One find of a start or stop pattern on a scan row.
struct PatternHit {
  int32_t label;      // cluster label from linking (kDroppedLabel: no cluster)
  int32_t firstRun;   // index of the window's first width in the row's width list
  int32_t kind;       // PatternKind
  int32_t widths[9];  // the window's run widths (start kinds: 9th follows the pattern)
  int32_t xStart;     // first pixel of the window's first run
  int32_t xEnd;       // first pixel after the pattern
  int32_t y;          // scan row
};

// The hits of one scan row, left to right.
struct ScanRow {
  int32_t y;           // the row
  int32_t widthCount;  // run widths of the row, left in the workspace's width list by the scan
  int32_t count;
  PatternHit* hits;  // count hits; none when count is 0
};

// The scanned rows that have hits, in row order: a page's blank rows take
// no room, however many there are.
struct ScanRowList {
  int32_t count;
  int32_t capacity;
  ScanRow* rows;
};

// A column of hits and, once fitted, its outer edge x = a + b * y with the
// edge's top and bottom end points.
struct PatternCluster {
  int32_t topX, bottomX, topY, bottomY;
  int32_t kind;
  int32_t count;
  int32_t minX, maxX, minY, maxY;
  PatternHit** members;  // count pointers into the scan rows' hit arrays, owned
  double a, b, abdev;
};

// A start and a stop column facing each other; first is the lower-numbered.
struct EdgePair {
  int32_t valid;
  PatternCluster* first;
  PatternCluster* second;
  int32_t widthInPatterns;
  int32_t patternWidth;
};

// Entry i belongs to merged cluster i.
struct PairTable {
  int32_t count;
  int32_t validCount;
  EdgePair* entries;
};

struct DetectionWorkspace {
  const BitImage* image;                      // the image being searched
  int32_t runs[kRunCapacity];                 // run list of a row, or step positions of a segment
  int32_t fitX[kRunCapacity];                 // fit abscissae (hit rows); x of a segment's changes
  int32_t fitY[kRunCapacity];                 // fit ordinates (edge x); y of a segment's changes
  int32_t widths[kRunCapacity];               // run widths of a row; group numbers while merging
  PatternHit hits[kHitCapacity];              // hits of the row being scanned
  PatternCluster clusters[kClusterCapacity];  // linked 0..L-1, merged L..L+M-1
};

}  // namespace pdf417
