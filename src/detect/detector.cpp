#include "detect/detector.h"

#include "detect/cluster_merger.h"
#include "detect/detection_workspace.h"
#include "detect/edge_fitter.h"
#include "detect/edge_pairing.h"
#include "detect/hit_linker.h"
#include "detect/pair_measures.h"
#include "detect/row_scanner.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr int32_t kRowStep = 10;
// Hits a column needs to take part in pairing.
constexpr int32_t kMinHits = 4;

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

// The stages after row scanning, up to filling the list; every allocation
// they leave behind is released by the caller.
int32_t LinkAndPair(DetectionWorkspace& ws, ScanRowList& rows, int32_t rowStep, int32_t minHits, EdgeFit fit,
                    int32_t& linked, int32_t& merged, PairTable& table, CandidateList& list) {
  const bool rowByRow = rowStep == 1;
  const Continuation test = rowByRow ? Continuation::kOuterEdge : Continuation::kRunOverlay;
  linked = LinkHits(rows, rowStep, test);
  if (BuildClusters(ws, rows, linked) != 0) {
    linked = 0;  // BuildClusters released its member arrays
    return -1;
  }
  // Row by row (the small-symbol search), hits continue by their outer
  // edges, columns end where their pattern does, a column broken by a
  // blotch is also tried whole, and only columns covering half the rows of
  // a pair block it.
  if (MergeClusters(ws, linked, &merged, fit, rowByRow ? kRowByRowGapLimit : kMergeGapLimit, test) != 0) return -1;
  if (rowByRow) {
    int32_t joined = 0;
    if (JoinColumnFragments(ws, linked, merged, &joined) != 0) return -1;
    merged += joined;
  }
  if (PairClusters(ws, linked, merged, PairingRules{minHits, rowByRow}, table) != 0) return -1;
  if (table.validCount == 0) return 0;

  list.candidates = AllocArray<SymbolCandidate>(static_cast<size_t>(table.validCount));
  if (list.candidates == nullptr) return -1;
  list.count = table.validCount;
  int32_t next = 0;
  for (int32_t i = 0; i < table.count; ++i) {
    EdgePair& pair = table.entries[i];
    if (!pair.valid) continue;
    const bool firstIsReference = pair.first->kind == START_FORWARD;
    const PairMeasures m =
        firstIsReference ? MeasurePair(*pair.first, *pair.second) : MeasurePair(*pair.second, *pair.first);
    pair.patternWidth = m.patternWidth;
    pair.widthInPatterns = m.widthInPatterns;
    list.candidates[next++] = MakeCandidate(pair);
  }
  return 0;
}

// Links, clusters and pairs the hits of rows (scanned rows rowStep apart at
// most) into list, and releases everything but the list.
int32_t DetectOnRows(DetectionWorkspace& ws, const BitImage& image, ScanRowList& rows, int32_t rowStep, int32_t minHits,
                     EdgeFit fit, CandidateList& list) {
  ws.image = &image;
  int32_t linked = 0, merged = 0;
  PairTable table{};
  const int32_t result = LinkAndPair(ws, rows, rowStep, minHits, fit, linked, merged, table, list);
  if (result != 0) FreeCandidateList(&list);
  FreePairTable(table);
  FreeScanRows(rows);
  FreeClusterMembers(ws, 0, linked + merged);
  ws.image = nullptr;
  return result;
}

}  // namespace

int32_t DetectSymbols(DetectionWorkspace& ws, const BitImage& image, CandidateList& list) {
  list.count = 0;
  list.candidates = nullptr;
  ws.image = &image;
  ScanRowList rows{};
  if (ScanRows(ws, kRowStep, rows) != 0) {
    ws.image = nullptr;
    return -1;
  }
  return DetectOnRows(ws, image, rows, kRowStep, kMinHits, EdgeFit::kPageRows, list);
}

int32_t DetectInRows(DetectionWorkspace& ws, const BitImage& image, const int32_t* ys, int32_t n, CandidateList& list) {
  list.count = 0;
  list.candidates = nullptr;
  ws.image = &image;
  ScanRowList rows{};
  if (ScanRowSet(ws, ys, n, rows, WindowTest::kTolerant) != 0) {
    ws.image = nullptr;
    return -1;
  }
  // Rows one apart link; a column needs as many hits as a scan row step of
  // ten asks of it, over rows a tenth as far apart.
  return DetectOnRows(ws, image, rows, 1, kMinHits, EdgeFit::kFromFirstHit, list);
}

void FreeCandidateList(CandidateList* list) {
  if (list == nullptr) return;
  FreeBytes(list->candidates);
  list->candidates = nullptr;
  list->count = 0;
}

}  // namespace pdf417
