#include "sample/symbol_reader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "sample/edge_tracing.h"
#include "decode/cell_grid.h"
#include "sample/grid_sampling.h"
#include "sample/row_count.h"
#include "sample_helpers.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using test::MakeImage;
using test::MakeSymbolRegion;
using test::SetPixel;
using test::RegionPlan;
using test::SymbolRegion;

// A region of `bars` vertical bars, each `height` rows tall, 3 pixels wide
// with 4-pixel gaps, starting at x = 2.
BitImagePtr BarsImage(int32_t bars, int32_t height) {
  BitImagePtr image = MakeImage(2 + 7 * bars + 2, height + 2);
  for (int32_t b = 0; b < bars; ++b)
    for (int32_t y = 1; y <= height; ++y)
      for (int32_t x = 0; x < 3; ++x) SetPixel(*image, 2 + 7 * b + x, y, 1);
  return image;
}

SymbolReaderParams ParamsFor(BitImage& image, std::vector<uint8_t>& text, int32_t columnEstimate) {
  SymbolReaderParams p{};
  p.upperLeft = Point{2, 1};
  p.lowerLeft = Point{2, image.height - 2};
  p.upperRight = Point{image.width - 3, 1};
  p.lowerRight = Point{image.width - 3, image.height - 2};
  p.patternWidth = 36;
  p.image = &image;
  p.text = text.data();
  p.textCapacity = static_cast<int32_t>(text.size());
  p.columnEstimate = columnEstimate;
  p.textLength = p.errorCorrectionLevel = p.mode = p.confidence = 77;
  return p;
}

TEST(TracingStep, AngleBoundsSetOrKeepTheStep) {
  BitImagePtr image = MakeImage(16, 4);
  std::vector<uint8_t> text(8, 0);
  test::Workspaces ws;
  std::atomic<int32_t>& step = TracingStepDirection();
  const int32_t saved = step.load();
  step.store(0);
  struct Case {
    double angle;
    int32_t step;
  };
  // 50 is in the first range, 310 in the second; 360 and 180 keep the step.
  const Case cases[] = {{180, 0}, {50, -1},   {360, -1}, {310, 1}, {180, 1},  {0, -1},
                        {50.5, -1}, {309.9, -1}, {359.9, 1}, {-0.1, 1}, {25, -1}};
  for (const Case& c : cases) {
    SymbolReaderParams p = ParamsFor(*image, text, 4);
    p.angle = c.angle;
    EXPECT_EQ(ReadSymbol(*ws.sampling, *ws.correction, p), 20);
    EXPECT_EQ(step.load(), c.step) << c.angle;
    EXPECT_EQ(ws.sampling->frame.stepDirection, c.step);
  }
  step.store(saved);
}

TEST(ReadSymbol, FewerSelectedEdgesThanTheOutlineNeedsGives20) {
  BitImagePtr image = BarsImage(9, 20);
  std::vector<uint8_t> text(8, 0);
  test::Workspaces ws;
  const long live = alloc_testing::Live();
  for (int32_t estimate : {4, -6, -100}) {  // k + 9 = 10, 0, -94
    SymbolReaderParams p = ParamsFor(*image, text, estimate);
    EXPECT_EQ(ReadSymbol(*ws.sampling, *ws.correction, p), 20) << estimate;
    EXPECT_EQ(p.textLength, 77);
  }
  EXPECT_EQ(alloc_testing::Live(), live);
}

TEST(ReadSymbol, SamplingThatStopsBeforeDecodingGivesTheFailureTextAndZeroFigures) {
  // Nine long edges and an estimate of 3: k = 0, the outline exists but no
  // codeword column does.
  BitImagePtr image = BarsImage(9, 20);
  std::vector<uint8_t> text(8, 0xEE);
  test::Workspaces ws;
  const long live = alloc_testing::Live();
  SymbolReaderParams p = ParamsFor(*image, text, 3);
  ASSERT_EQ(ReadSymbol(*ws.sampling, *ws.correction, p), 0);
  EXPECT_EQ(text[0], '?');
  EXPECT_EQ(text[1], 0);
  EXPECT_EQ(text[2], 0xEE);
  EXPECT_EQ(p.textLength, 2);
  EXPECT_EQ(p.errorCorrectionLevel, 0);
  EXPECT_EQ(p.mode, 0);
  EXPECT_EQ(p.confidence, 0);
  EXPECT_EQ(ws.sampling->profile.values, nullptr);
  EXPECT_EQ(alloc_testing::Live(), live);
}

// ---------------------------------------------------------------- real regions

std::string Payload(int kind, size_t length, uint32_t seed) {
  switch (kind) {
    case 0: return testing::TextPayload(length, seed);
    case 1: return testing::NumericPayload(length, seed);
    default: return testing::BytePayload(length, seed);
  }
}

// A payload that leaves the symbol a moderate number of rows.
size_t PayloadLength(int kind, int columns, int ecLevel, uint32_t seed) {
  const int ecWords = 2 << ecLevel;
  const int targetRows = 6 + static_cast<int>(seed % 12);
  int dataWords = columns * targetRows - ecWords - 1;
  if (dataWords < 1) dataWords = columns * 80 - ecWords - 1;  // high EC levels need rows
  if (dataWords < 1) return 0;
  const double perWord = kind == 0 ? 1.8 : kind == 1 ? 2.8 : 1.1;
  return static_cast<size_t>(std::max(1.0, std::min(dataWords * perWord * 0.8, 600.0)));
}

// Position across the symbol, in modules from its start edge, of the region
// pixel column x at row y (pixel centres).
double ModulePosition(const SymbolRegion& r, double x, double y, const RegionPlan& plan) {
  const auto& c = r.truth.corners;
  // The region's offset on the page follows from where the start edge's top
  // end landed: undo the cut (and the half turn) with the region's size.
  const double dx = c[2].x - c[0].x, dy = c[2].y - c[0].y;
  const double n = std::hypot(dx, dy);
  double px = x + 0.5, py = y + 0.5;
  const BitImage& img = *r.region;
  if (plan.direction == 1) px = img.width - px, py = img.rowCount - py;
  // Region -> page: the candidate box started 10 pixels before the smallest
  // edge end; the helper keeps that offset.
  px += r.pageOffset.x;
  py += r.pageOffset.y;
  return ((px - c[0].x) * dx + (py - c[0].y) * dy) / n / plan.moduleWidth;
}

struct ReadOutcome {
  int32_t status = 0;
  bool decoded = false;
  bool rowsRight = false;
  int32_t rowsFound = 0;
  bool edgesRight = false;
  int32_t cells = 0, cellsRight = 0;  // sampled cells whose first candidate is the true pattern
  double seconds = 0;
  std::string detail;
};

// Reads the region and checks text, row estimate and boundary edges.
ReadOutcome ReadAndCheck(const RegionPlan& plan, SymbolRegion& r) {
  ReadOutcome out;
  test::Workspaces ws;
  const auto t0 = std::chrono::steady_clock::now();
  out.status = ReadSymbol(*ws.sampling, *ws.correction, r.params);
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const std::string& want = r.truth.data;
  out.decoded = out.status == 0 && r.params.textLength == static_cast<int32_t>(want.size()) + 2 &&
                std::equal(want.begin(), want.end(), r.text.begin(),
                           [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; }) &&
                r.text[want.size()] == 0;

  // Stages again, to look at the edges and the row estimate.
  BitImage& image = *r.region;
  BitImagePtr marks(MakeBarStartImage(image, *ws.sampling));
  EdgeTrace* edges = nullptr;
  int32_t count = 0;
  if (!marks || TraceEdges(*marks, ws.sampling->frame, &edges, &count) != 0) return out;
  if (DropShortEdges(&edges, &count, 3) != 0) return out;
  const int32_t k = r.params.columnEstimate - 3;
  EdgeSelection sel{};
  SelectEdges(edges, count, k, r.params.lowerLeft, sel);
  FreeEdgeStore(edges, count);
  if (sel.kept < sel.used || sel.used < 10) {
    FreeEdgeSelection(sel);
    out.detail = "too few edges";
    return out;
  }
  std::vector<double> expected = {0, 9, 11, 13};
  for (int32_t j = 0; j <= k; ++j) expected.push_back(17.0 * (j + 1));
  for (double d : {8, 12, 14, 17}) expected.push_back(17.0 * (k + 1) + d);
  out.edgesRight = true;
  for (int32_t i = 0; i < sel.used; ++i) {
    const EdgeTrace& e = sel.edges[i];
    const double y = 0.5 * (e.upperEnd.y + e.lowerEnd.y);
    const double x = e.slope * y + e.intercept;
    const double u = ModulePosition(r, x, y, plan);
    // Within half a module plus a pixel of aliasing.
    if (std::fabs(u - expected[static_cast<size_t>(i)]) > 0.5 + 1.0 / plan.moduleWidth) {
      out.edgesRight = false;
      char buf[96];
      std::snprintf(buf, sizeof buf, " edge %d at %.2f modules, want %.0f;", i, u, expected[static_cast<size_t>(i)]);
      out.detail += buf;
    }
  }
  const EdgeTrace& first = sel.edges[0];
  const EdgeTrace& last = sel.edges[sel.used - 1];
  Point ll{}, ul{}, lr{}, ur{};
  IntersectWithFittedLine(first.lowerEnd.x, first.lowerEnd.y, last.lowerEnd.x, last.lowerEnd.y, first.slope,
                          first.intercept, &ll);
  IntersectWithFittedLine(first.upperEnd.x, first.upperEnd.y, last.upperEnd.x, last.upperEnd.y, first.slope,
                          first.intercept, &ul);
  IntersectWithFittedLine(first.lowerEnd.x, first.lowerEnd.y, last.lowerEnd.x, last.lowerEnd.y, last.slope,
                          last.intercept, &lr);
  IntersectWithFittedLine(first.upperEnd.x, first.upperEnd.y, last.upperEnd.x, last.upperEnd.y, last.slope,
                          last.intercept, &ur);
  int32_t rows = 0;
  EstimateRowCount(ll, lr, ul, ur, image, *ws.sampling, &rows);
  out.rowsFound = rows;
  out.rowsRight = rows == r.truth.rows;
  CellGrid grid{};
  if (out.rowsRight && out.edgesRight &&
      SampleCellGrid(image, first.lowerEnd, last.lowerEnd, first.upperEnd, last.upperEnd, rows, sel, *ws.sampling,
                     grid) == 0) {
    for (int32_t row = 0; row < rows; ++row) {
      for (int32_t col = 0; col <= k - 1; ++col) {
        const CodewordCell& cell = grid.cells[row * k + col];
        ++out.cells;
        out.cellsRight += cell.candidateCount > 0 &&
                          std::string(cell.candidates[0], 8) == r.patterns[static_cast<size_t>(row)][static_cast<size_t>(col)];
      }
    }
  }
  FreeCellGrid(grid);
  FreeEdgeSelection(sel);
  ReleaseRowSimilarityProfile(*ws.sampling);
  if (!out.rowsRight) out.detail += " rows " + std::to_string(rows) + " want " + std::to_string(r.truth.rows);
  return out;
}

std::string Describe(const RegionPlan& s) {
  char buf[128];
  std::snprintf(buf, sizeof buf, "mw %d rh %d ecl %d cols %d dir %d skew %.1f len %zu", s.moduleWidth, s.rowHeight,
                s.ecLevel, s.columns, s.direction, s.skew, s.data.size());
  return buf;
}

struct MatrixStats {
  int total = 0, decoded = 0, rows = 0, edges = 0, refused = 0;
  long cells = 0, cellsRight = 0;
  double seconds = 0;
};

// Runs the cases and prints, per module width and skew, how many reads
// decoded, how many found the true row count and boundary edges, and the
// share of cells sampled to their true pattern. With `strict`, an upright
// (unskewed) symbol must be read exactly: boundary edges, row count and
// every cell, and its text when it is not a byte payload. Skewed symbols
// only have to keep the shares of right edges and row counts up: the row
// sample line is placed at the first best-agreeing scan line of each row,
// which on clean renders is the row's lowest pixel line, and a line there
// can cross into the row below when the symbol is turned.
void RunMatrix(const std::vector<RegionPlan>& plans, bool strict) {
  std::map<std::pair<int, double>, MatrixStats> cells;
  MatrixStats all;
  for (const RegionPlan& plan : plans) {
    SymbolRegion r;
    std::string error;
    if (!MakeSymbolRegion(plan, &r, &error)) {
      ++all.refused;
      continue;
    }
    const ReadOutcome o = ReadAndCheck(plan, r);
    for (MatrixStats* m : {&cells[{plan.moduleWidth, plan.skew}], &all}) {
      ++m->total;
      m->decoded += o.decoded;
      m->rows += o.rowsRight;
      m->edges += o.edgesRight;
      m->seconds += o.seconds;
      m->cells += o.cells;
      m->cellsRight += o.cellsRight;
    }
    // Rows of 4 pixels count one short (see FourPixelRowsCountOneShort).
    if (strict && plan.skew == 0 && plan.moduleWidth * plan.rowHeight > 4) {
      EXPECT_TRUE(o.rowsRight) << Describe(plan) << o.detail;
      EXPECT_TRUE(o.edgesRight) << Describe(plan) << o.detail;
      EXPECT_EQ(o.cellsRight, o.cells) << Describe(plan);
      if (plan.payloadKind != 2) {
        EXPECT_TRUE(o.decoded) << Describe(plan) << " status " << o.status;
      }
    }
  }
  std::printf("module width, skew: decoded / rows right / edges right of reads; cells sampled right\n");
  for (const auto& [key, m] : cells)
    std::printf("  mw %d skew %+5.1f: %3d / %3d / %3d of %3d; cells %6.2f%%\n", key.first, key.second, m.decoded,
                m.rows, m.edges, m.total, m.cells ? 100.0 * m.cellsRight / m.cells : 0.0);
  std::printf("all: %d / %d / %d of %d (%d refused by the encoder); cells %.2f%%; %.2f ms per read\n", all.decoded,
              all.rows, all.edges, all.total, all.refused, all.cells ? 100.0 * all.cellsRight / all.cells : 0.0,
              all.total ? 1000.0 * all.seconds / all.total : 0.0);
  ASSERT_GT(all.total, 0);
  if (strict) {
    EXPECT_GE(all.edges * 10, all.total * 9);
    EXPECT_GE(all.rows * 10, all.total * 8);
  }
}

// Every dimension cycles through its values; a seeded walk picks the
// combinations so that the default set stays small.
std::vector<RegionPlan> MatrixPlans(int count, uint32_t seed) {
  static const double kSkews[] = {-3, -1.5, 0, 1.5, 3};
  std::vector<RegionPlan> plans;
  uint32_t s = seed;
  auto next = [&s]() { return s = s * 1664525u + 1013904223u, s >> 8; };
  for (int i = 0; i < count; ++i) {
    RegionPlan plan;
    plan.moduleWidth = 2 + i % 5;
    plan.skew = kSkews[(i / 5) % 5];
    plan.rowHeight = 2 + static_cast<int>(next() % 4);
    plan.ecLevel = static_cast<int>(next() % 9);
    plan.columns = 1 + static_cast<int>(next() % 30);
    if (plan.ecLevel >= 6 && plan.columns < 8) plan.columns += 8;  // room for the EC words
    plan.direction = static_cast<int>(next() % 2);
    const int kind = static_cast<int>(next() % 3);
    const uint32_t payloadSeed = next();
    plan.data = Payload(kind, PayloadLength(kind, plan.columns, plan.ecLevel, payloadSeed), payloadSeed);
    plan.payloadKind = kind;
    plans.push_back(plan);
  }
  return plans;
}

TEST(ReadSymbolRegion, UprightSymbolDecodes) {
  RegionPlan plan;
  plan.data = "Hello, symbol reader!";
  SymbolRegion r;
  std::string error;
  ASSERT_TRUE(MakeSymbolRegion(plan, &r, &error)) << error;
  const ReadOutcome o = ReadAndCheck(plan, r);
  EXPECT_EQ(o.status, 0);
  EXPECT_TRUE(o.decoded) << r.text.data();
  EXPECT_TRUE(o.rowsRight) << o.detail;
  EXPECT_TRUE(o.edgesRight) << o.detail;
  EXPECT_EQ(r.params.errorCorrectionLevel, 3);  // level 2: 2^2 - 1
  EXPECT_EQ(r.params.mode, 10);
}

TEST(ReadSymbolRegion, DefaultMatrix) {
  RunMatrix(MatrixPlans(50, 417), true);
}

// The row estimate divides the n = 4R - 2 scan steps of an upright symbol
// of R rows of h pixels by the spacing h and scales by 0.999: for h = 4 that
// is R - 0.5 - R / 1000, one row short; for h = 6 it is R - 1/3 - R / 1000.
TEST(ReadSymbolRegion, FourPixelRowsCountOneShort) {
  for (int rowHeight : {2, 3}) {
    RegionPlan plan;
    plan.data = testing::TextPayload(80, 11);
    plan.moduleWidth = 2;
    plan.rowHeight = rowHeight;
    SymbolRegion r;
    std::string error;
    ASSERT_TRUE(MakeSymbolRegion(plan, &r, &error)) << error;
    const ReadOutcome o = ReadAndCheck(plan, r);
    EXPECT_TRUE(o.edgesRight) << o.detail;
    EXPECT_EQ(o.rowsFound, rowHeight == 2 ? r.truth.rows - 1 : r.truth.rows);
  }
}

TEST(ReadSymbolRegion, UncorrectableSymbolGivesTheFailureText) {
  RegionPlan plan;
  plan.data = testing::TextPayload(60, 3);
  plan.ecLevel = 0;
  SymbolRegion r;
  std::string error;
  ASSERT_TRUE(MakeSymbolRegion(plan, &r, &error)) << error;
  // Paint a dark strip inside the middle data column, clear of its first
  // bar, on every row: one wrong codeword per row, far more than level 0
  // corrects.
  BitImage& image = *r.region;
  const int32_t mw = plan.moduleWidth;
  const int32_t x0 = r.params.upperLeft.x + mw * (17 * 3 + 8), x1 = x0 + mw * 7;
  for (int32_t y = r.params.upperLeft.y; y <= r.params.lowerLeft.y; ++y)
    for (int32_t x = x0; x < x1; ++x) SetPixel(image, x, y, 1);
  test::Workspaces ws;
  ASSERT_EQ(ReadSymbol(*ws.sampling, *ws.correction, r.params), 0);
  EXPECT_EQ(r.text[0], '?');
  EXPECT_EQ(r.text[1], 0);
  EXPECT_EQ(r.params.textLength, 2);
}

TEST(ReadSymbolRegion, EveryAllocationFailureIsReleased) {
  RegionPlan plan;
  plan.data = "Every failure path";
  plan.columns = 2;
  plan.rowHeight = 2;
  SymbolRegion r;
  std::string error;
  ASSERT_TRUE(MakeSymbolRegion(plan, &r, &error)) << error;
  test::Workspaces ws;
  const long live = alloc_testing::Live();
  // The attempts of one whole read bound the sweep.
  alloc_testing::Reset();
  ASSERT_EQ(ReadSymbol(*ws.sampling, *ws.correction, r.params), 0);
  const long attempts = alloc_testing::Attempts();
  ASSERT_GT(attempts, 10);
  ASSERT_EQ(alloc_testing::Live(), live);
  int failures = 0;
  for (long n = 1; n <= attempts; ++n) {
    alloc_testing::FailOnly(n);
    r.params.textLength = -5;
    const int32_t status = ReadSymbol(*ws.sampling, *ws.correction, r.params);
    alloc_testing::Reset();
    EXPECT_TRUE(status == 0 || status == 20 || status == -1) << n << ": " << status;
    if (n == 1) {
      EXPECT_EQ(status, 20);  // the bar-start image
    }
    if (status == 0) {
      EXPECT_GE(r.params.textLength, 2) << n;
    }
    if (status != 0 || r.params.textLength == 2) ++failures;
    ASSERT_EQ(alloc_testing::Live(), live) << "allocation " << n;
    ASSERT_EQ(ws.sampling->profile.values, nullptr) << n;
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace pdf417
