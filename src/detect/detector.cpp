#include "detect/detector.h"

#include "detect/cluster_merger.h"
#include "detect/detection_workspace.h"
#include "detect/edge_pairing.h"
#include "detect/hit_linker.h"
#include "detect/pair_measures.h"
#include "detect/row_scanner.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr int32_t kRowStep = 10;

void SetEdge(const PatternCluster& c, int32_t& xTop, int32_t& xBottom, int32_t& yTop, int32_t& yBottom) {
  xTop = c.topX;
  xBottom = c.bottomX;
  yTop = c.topY;
  yBottom = c.bottomY;
}

// An upright symbol (a START_FORWARD column takes part) lists its start edge
// first; an upside-down one lists its lower-numbered column first.
SymbolCandidate MakeCandidate(const EdgePair& pair) {
  const PatternCluster* c1 = pair.first;
  const PatternCluster* c2 = pair.second;
  SymbolCandidate out{};
  out.orientation = 1;
  if (c1->kind != START_FORWARD && c2->kind == START_FORWARD) {
    c1 = pair.second;
    c2 = pair.first;
  } else if (c1->kind != START_FORWARD) {
    out.orientation = 2;
  }
  SetEdge(*c1, out.x0, out.x1, out.y0, out.y1);
  SetEdge(*c2, out.x2, out.x3, out.y2, out.y3);
  out.patternWidth = pair.patternWidth;
  out.widthInPatterns = pair.widthInPatterns;
  return out;
}

// Runs the stages up to filling the list; every allocation it leaves behind
// is released by the caller.
int32_t RunStages(DetectionWorkspace& ws, ScanRowList& rows, int32_t& linked, int32_t& merged,
                  PairTable& table, CandidateList& list) {
  if (ScanRows(ws, kRowStep, rows) != 0) return -1;
  LinkHits(rows, &linked);
  if (BuildClusters(ws, rows, linked) != 0) {
    linked = 0;  // BuildClusters released its member arrays
    return -1;
  }
  if (MergeClusters(ws, linked, &merged) != 0) return -1;
  if (PairClusters(ws, linked, merged, table) != 0) return -1;
  if (table.validCount == 0) return 0;

  list.candidates = AllocArray<SymbolCandidate>(static_cast<size_t>(table.validCount));
  if (list.candidates == nullptr) return -1;
  list.count = table.validCount;
  int32_t next = 0;
  for (int32_t i = 0; i < table.count; ++i) {
    EdgePair& pair = table.entries[i];
    if (!pair.valid) continue;
    const bool firstIsReference = pair.first->kind == START_FORWARD;
    const PairMeasures m = firstIsReference ? MeasurePair(*pair.first, *pair.second)
                                            : MeasurePair(*pair.second, *pair.first);
    pair.patternWidth = m.patternWidth;
    pair.widthInPatterns = m.widthInPatterns;
    list.candidates[next++] = MakeCandidate(pair);
  }
  return 0;
}

}  // namespace

int32_t DetectSymbols(DetectionWorkspace& ws, const BitImage& image, CandidateList& list) {
  list.count = 0;
  list.candidates = nullptr;
  ws.image = &image;
  ScanRowList rows{};
  int32_t linked = 0, merged = 0;
  PairTable table{};
  const int32_t result = RunStages(ws, rows, linked, merged, table, list);
  FreePairTable(table);
  FreeScanRows(rows);
  FreeClusterMembers(ws, 0, linked + merged);
  ws.image = nullptr;
  return result;
}

void FreeCandidateList(CandidateList* list) {
  if (list == nullptr) return;
  FreeBytes(list->candidates);
  list->candidates = nullptr;
  list->count = 0;
}

}  // namespace pdf417
