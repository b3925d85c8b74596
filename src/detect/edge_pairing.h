// Pairing: a start column and a stop column of one reading direction that
// face each other squarely, with no other column edge between them, outline
// a probable symbol.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"
#include "support/point.h"

namespace pdf417 {

// Midpoint of a cluster's edge: (top + bottom) halved by an arithmetic
// shift, so halves round down.
Point EdgeMidpoint(const PatternCluster& c);

// Whether the line joining the two edges' midpoints is within 15 degrees of
// square to both edges (reduced angles 75 to 105 inclusive).
bool EdgesFaceEachOther(const PatternCluster& ci, const PatternCluster& cj);

// Which clusters of minHits hits or more pair, and which block a pair.
struct PairingRules {
  int32_t minHits;
  // Whether a column between two others blocks their pairing only when its
  // hits cover at least half of the rows the two share. The row step of
  // ten lets any column block; row by row, a few rows of data codewords
  // that look like a pattern make short columns inside a symbol, which
  // must not keep its start and stop columns apart; nor may it be taken as
  // their partner: row by row, columns pair only when neither is under half
  // as high as the other.
  bool fullBlockersOnly;
};

// Whether the edge of another merged cluster (any slot lo..hi-1 other than
// i and j, and with fullBlockersOnly only one whose hits cover half the rows
// that i and j share) crosses the horizontal probe from cluster i's edge
// midpoint to cluster j's edge x.
bool PairBlocked(const DetectionWorkspace& ws, int32_t lo, int32_t hi, int32_t i, int32_t j,
                 bool fullBlockersOnly = false);

// The pairing test for merged clusters ci (slot i) and cj (slot j): kinds
// that belong together, not blocked, facing each other.
bool ClustersPair(const DetectionWorkspace& ws, const PatternCluster& ci, const PatternCluster& cj, int32_t lo,
                  int32_t hi, int32_t i, int32_t j, bool fullBlockersOnly = false);

// Fills table for merged clusters L..L+M-1: entry i holds merged cluster i's
// lowest-numbered partner, if any; only clusters of rules.minHits or more
// hits take part. Returns 0, or -1 when the table cannot be allocated. With
// M = 0 no array is allocated.
int32_t PairClusters(DetectionWorkspace& ws, int32_t L, int32_t M, const PairingRules& rules, PairTable& table);

// Releases the table's array and zeroes its fields.
void FreePairTable(PairTable& table);

}  // namespace pdf417
