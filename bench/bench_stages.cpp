// Per-stage timings of one read, taken by calling the stage functions
// directly on the benchmark pages (300 dpi; 200 dpi with --stages_dpi=200):
//
//   Intake/<page>                 the DIB becomes a bit image
//   QuarterTurn/<page>            the bit image turned for the second pass
//   Detect/<page>/<pass>          the whole detector on the pass's image
//   ScanRows/<page>/<pass>        its row scanning alone
//   Candidate/<page>/<pass>/<i>   one candidate read through the driver
//   Prepare/...                   its cut-out, inversion and half turn
//   Edges/...                     bar-start image, tracing and edge selection
//   RowCount/...                  the row count estimate
//   SampleGrid/...                width sampling and cell classification
//   Decode/...                    codeword matrix decoding of that grid
//   Read/<page>                   the whole read through the C API
//
// The split stages follow the reader's first reading; a candidate whose
// first reading does not decode consistently is read again by the reader
// (counter "again" = 1), which only the Candidate line includes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/candidate_driver.h"
#include "bench_pages.h"
#include "decode/correction_workspace.h"
#include "decode/matrix_decoder.h"
#include "detect/detection_workspace.h"
#include "detect/detector.h"
#include "detect/geometry.h"
#include "detect/row_scanner.h"
#include "image/bit_image.h"
#include "image/transforms.h"
#include "pdf417/pdf417.h"
#include "sample/edge_tracing.h"
#include "sample/grid_sampling.h"
#include "sample/row_count.h"
#include "sample/sampling_workspace.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"

namespace {

using namespace pdf417;

struct Workspaces {
  DetectionWorkspace detection;
  SamplingWorkspace sampling;
  CorrectionWorkspace correction;
};

// A zero-filled workspace block, as a read gets it.
struct WorkspaceOwner {
  Owned<Workspaces> ws{AllocArray<Workspaces>(1)};
  Workspaces& operator*() const { return *ws; }
};

BitImagePtr Load(const std::vector<uint8_t>& dib) { return BitImagePtr(LoadBitImageBytes(dib.data(), dib.size())); }

BitImagePtr Turned(const std::vector<uint8_t>& dib) {
  BitImagePtr image = Load(dib);
  RotateQuarterTurn(*image);
  return image;
}

BitImagePtr CopyImage(const BitImage& image) {
  BitImagePtr copy(CopyBitImageHeader(image));
  std::memcpy(copy->pixels, image.pixels, static_cast<size_t>(image.size));
  return copy;
}

// The region and reader parameters the candidate driver makes for a
// candidate: the same steps as ReadCandidate up to the reader's call.
struct PreparedRegion {
  BitImagePtr region;
  SymbolReaderParams params{};
};

bool Prepare(const BitImage& image, const SymbolCandidate& candidate, PreparedRegion* out) {
  SymbolReadRequest request{};
  const int32_t corners[8] = {candidate.x0, candidate.y0, candidate.x1, candidate.y1,
                              candidate.x2, candidate.y2, candidate.x3, candidate.y3};
  std::copy(corners, corners + 8, request.reported);
  std::transform(corners, corners + 8, request.working, [](int32_t v) { return static_cast<uint32_t>(v); });
  request.angle = DirectionDegrees(Point{candidate.x0, candidate.y0}, Point{candidate.x2, candidate.y2});
  uint32_t minX = request.working[0], maxX = minX, minY = request.working[1], maxY = minY;
  for (int i = 2; i < 8; i += 2) {
    minX = std::min(minX, request.working[i]);
    maxX = std::max(maxX, request.working[i]);
    minY = std::min(minY, request.working[i + 1]);
    maxY = std::max(maxY, request.working[i + 1]);
  }
  BitImage* region = nullptr;
  if (CropRegion(image, &region, static_cast<int32_t>(minX), static_cast<int32_t>(minY), static_cast<int32_t>(maxX),
                 static_cast<int32_t>(maxY), kRegionMargin, true) != 0) {
    return false;
  }
  out->region.reset(region);
  InvertBitImage(*region);
  ShiftCorners(request, kRegionMargin);
  if (candidate.orientation != 1) {
    TurnCorners180(request, region->width, region->rowCount);
    if (RotateHalfTurn(*region) != 0) return false;
  }
  const uint32_t* c = request.working;
  const auto point = [&](int k) { return Point{static_cast<int32_t>(c[2 * k]), static_cast<int32_t>(c[2 * k + 1])}; };
  SymbolReaderParams& p = out->params;
  p.upperLeft = c[1] < c[3] ? point(0) : point(1);
  p.lowerLeft = c[1] < c[3] ? point(1) : point(0);
  p.upperRight = c[5] < c[7] ? point(2) : point(3);
  p.lowerRight = c[5] < c[7] ? point(3) : point(2);
  p.patternWidth = candidate.patternWidth;
  p.angle = DeskewAngle(request.angle);
  p.image = region;
  p.columnEstimate = candidate.widthInPatterns + 1;
  return true;
}

// The reader's frame as ReadSymbol makes it, with the tracing step its angle
// sets (0 where the angle keeps the previous read's step).
ReaderFrame FrameOf(const SymbolReaderParams& params) {
  ReaderFrame frame = MakeReaderFrame(params);
  frame.stepDirection = params.angle >= 0 && params.angle <= 50 ? -1 : (params.angle >= 310 ? 1 : 0);
  return frame;
}

// The reader's first reading split into its stages.
struct SplitRead {
  std::vector<EdgeTrace> edges;  // copies of the traced records (no ownership)
  EdgeSelection selection{};
  EdgeTrace* store = nullptr;
  int32_t storeCount = 0;
  Point p0{}, p1{}, p2{}, p3{}, lowerLeft{}, upperLeft{}, lowerRight{}, upperRight{};
  int32_t rows = 0, columns = 0;
  CellGrid grid{};
  bool ok = false;
  ~SplitRead() {
    FreeCellGrid(grid);
    FreeEdgeSelection(selection);
    FreeEdgeStore(store, storeCount);
  }
};

int32_t TraceAndSelect(const BitImage& image, SamplingWorkspace& ws, const SymbolReaderParams& params,
                       EdgeTrace** store, int32_t* count, EdgeSelection* selection) {
  ws.frame = FrameOf(params);
  BitImagePtr barStarts(MakeBarStartImage(image, ws));
  if (!barStarts) return -1;
  if (TraceEdges(*barStarts, ws.frame, store, count) != 0) return -1;
  if (DropShortEdges(store, count, 3) != 0) return -1;
  if (SelectEdges(*store, *count, params.columnEstimate - 3, params.lowerLeft, *selection) != 0) return -1;
  return selection->used >= 1 && selection->kept >= selection->used ? 0 : -1;
}

void OutlineOf(SplitRead& s) {
  const EdgeTrace& first = s.selection.edges[0];
  const EdgeTrace& last = s.selection.edges[s.selection.used - 1];
  s.p0 = first.upperEnd;
  s.p1 = first.lowerEnd;
  s.p2 = last.upperEnd;
  s.p3 = last.lowerEnd;
  // The outer edges' lines cut with the bottom line p1-p3 and the top line p0-p2.
  const struct {
    Point a, b;
    const EdgeTrace* edge;
    Point* corner;
  } cuts[4] = {{s.p1, s.p3, &first, &s.lowerLeft},
               {s.p0, s.p2, &first, &s.upperLeft},
               {s.p1, s.p3, &last, &s.lowerRight},
               {s.p0, s.p2, &last, &s.upperRight}};
  for (const auto& c : cuts) IntersectWithFittedLine(c.a.x, c.a.y, c.b.x, c.b.y, c.edge->slope, c.edge->intercept, c.corner);
}

bool SplitFirstReading(const BitImage& image, Workspaces& w, const SymbolReaderParams& params, SplitRead* s) {
  if (TraceAndSelect(image, w.sampling, params, &s->store, &s->storeCount, &s->selection) != 0) return false;
  OutlineOf(*s);
  EstimateRowCount(s->lowerLeft, s->lowerRight, s->upperLeft, s->upperRight, image, w.sampling, &s->rows);
  if (s->rows < 1) return false;
  if (SampleCellGrid(image, s->p1, s->p3, s->p0, s->p2, s->rows, s->selection, w.sampling, s->grid) != 0) {
    return false;
  }
  s->columns = s->selection.used - 9;
  ReleaseRowSimilarityProfile(w.sampling);
  s->ok = true;
  return true;
}

CellGrid CopyGrid(const CellGrid& grid) {
  CellGrid copy{grid.count, AllocArray<CodewordCell>(static_cast<size_t>(grid.count))};
  std::memcpy(copy.cells, grid.cells, sizeof(CodewordCell) * static_cast<size_t>(grid.count));
  return copy;
}

// ------------------------------------------------------------ pages

struct StagePage {
  std::string name;
  std::vector<uint8_t> dib;
};

std::vector<StagePage> MakeStagePages(int dpi) {
  std::vector<StagePage> pages;
  for (const bench::Resolution& res : bench::kResolutions) {
    if (res.dpi != dpi) continue;
    for (const bench::PageType& type : bench::kPageTypes) {
      testing::Page page;
      if (!bench::MakeBenchPage(type, res, 0, &page)) std::exit(2);
      std::string name = std::to_string(res.dpi) + "dpi-" + type.name;
      std::replace(name.begin(), name.end(), ' ', '-');
      pages.push_back({name, testing::ToDib(page)});
    }
  }
  return pages;
}

// ------------------------------------------------------------ registration

template <class Fn>
void Reg(const char* name, Fn fn) {
  benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMicrosecond);
}

void RegisterPage(const StagePage& page) {
  const std::vector<uint8_t>* dib = &page.dib;
  const std::string& n = page.name;
  Reg(("Read/" + n).c_str(), [dib](benchmark::State& state) {
    PDF417_Handle h = PDF417_Init();
    for (auto _ : state) PDF417_ReadDib(h, dib->data(), dib->size());
    state.counters["results"] = PDF417_GetNumBarcodes(h);
    PDF417_Done(h);
  });
  Reg(("Intake/" + n).c_str(), [dib](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(Load(*dib));
  });
  Reg(("QuarterTurn/" + n).c_str(), [dib](benchmark::State& state) {
    const BitImagePtr original = Load(*dib);
    for (auto _ : state) {
      state.PauseTiming();
      BitImagePtr image = CopyImage(*original);
      state.ResumeTiming();
      RotateQuarterTurn(*image);
      benchmark::DoNotOptimize(image->pixels);
    }
  });

  for (int pass = 0; pass < 2; ++pass) {
    const std::string passName = pass == 0 ? "/direct" : "/turned";
    auto image = std::make_shared<BitImagePtr>(pass == 0 ? Load(page.dib) : Turned(page.dib));
    Reg(("Detect/" + n + passName).c_str(), [image](benchmark::State& state) {
      WorkspaceOwner w;
      int32_t found = 0;
      for (auto _ : state) {
        CandidateList list{};
        DetectSymbols((*w).detection, **image, list);
        found = list.count;
        FreeCandidateList(&list);
      }
      state.counters["candidates"] = found;
    });
    Reg(("ScanRows/" + n + passName).c_str(), [image](benchmark::State& state) {
      WorkspaceOwner w;
      (*w).detection.image = image->get();
      for (auto _ : state) {
        ScanRowList rows{};
        ScanRows((*w).detection, 10, rows);
        FreeScanRows(rows);
      }
    });

    WorkspaceOwner w;
    CandidateList list{};
    DetectSymbols((*w).detection, **image, list);
    for (int32_t i = 0; i < list.count; ++i) {
      const SymbolCandidate candidate = list.candidates[i];
      const std::string id = n + passName + "/" + std::to_string(i);
      Reg(("Candidate/" + id).c_str(), [image, candidate](benchmark::State& state) {
        WorkspaceOwner w;
        int32_t decoded = 0;
        for (auto _ : state) {
          SymbolReadRequest request;
          FillReadRequest((*w).sampling, (*w).correction, candidate, **image, request);
          decoded = request.text != nullptr && request.textLength > 2;
          FreeBytes(request.text);
        }
        state.counters["decoded"] = decoded;
      });
      Reg(("Prepare/" + id).c_str(), [image, candidate](benchmark::State& state) {
        for (auto _ : state) {
          PreparedRegion r;
          Prepare(**image, candidate, &r);
        }
      });
      auto prepared = std::make_shared<PreparedRegion>();
      if (!Prepare(**image, candidate, prepared.get())) continue;
      Reg(("Edges/" + id).c_str(), [prepared](benchmark::State& state) {
        WorkspaceOwner w;
        for (auto _ : state) {
          EdgeTrace* store = nullptr;
          int32_t count = 0;
          EdgeSelection selection{};
          TraceAndSelect(*prepared->region, (*w).sampling, prepared->params, &store, &count, &selection);
          FreeEdgeSelection(selection);
          FreeEdgeStore(store, count);
        }
      });
      auto split = std::make_shared<SplitRead>();
      WorkspaceOwner sw;
      if (!SplitFirstReading(*prepared->region, *sw, prepared->params, split.get())) continue;
      Reg(("RowCount/" + id).c_str(), [prepared, split](benchmark::State& state) {
        WorkspaceOwner w;
        (*w).sampling.frame = FrameOf(prepared->params);
        int32_t rows = 0;
        for (auto _ : state) {
          EstimateRowCount(split->lowerLeft, split->lowerRight, split->upperLeft, split->upperRight,
                           *prepared->region, (*w).sampling, &rows);
          ReleaseRowSimilarityProfile((*w).sampling);
        }
        state.counters["rows"] = rows;
      });
      Reg(("SampleGrid/" + id).c_str(), [prepared, split](benchmark::State& state) {
        WorkspaceOwner w;
        (*w).sampling.frame = FrameOf(prepared->params);
        int32_t rows = 0;
        EstimateRowCount(split->lowerLeft, split->lowerRight, split->upperLeft, split->upperRight, *prepared->region,
                         (*w).sampling, &rows);
        for (auto _ : state) {
          CellGrid grid{};
          SampleCellGrid(*prepared->region, split->p1, split->p3, split->p0, split->p2, split->rows,
                         split->selection, (*w).sampling, grid);
          FreeCellGrid(grid);
        }
        ReleaseRowSimilarityProfile((*w).sampling);
      });
      Reg(("Decode/" + id).c_str(), [split](benchmark::State& state) {
        WorkspaceOwner w;
        int32_t decoded = 0, fits = 0, flipped = 0;
        for (auto _ : state) {
          state.PauseTiming();
          CellGrid grid = CopyGrid(split->grid);
          state.ResumeTiming();
          uint8_t* text = nullptr;
          int32_t length = 0, ecl = 0, mode = 0, confidence = 0;
          decoded = DecodeCodewordMatrix((*w).correction, grid, split->rows, split->columns, &text, &length, &flipped,
                                         &ecl, &mode, &confidence, &fits) == 0;
          FreeBytes(text);
          FreeCellGrid(grid);
        }
        state.counters["decoded"] = decoded;
        state.counters["again"] = !(decoded && fits);
        state.counters["flipped"] = flipped;
      });
    }
    FreeCandidateList(&list);
  }
}

}  // namespace

int main(int argc, char** argv) {
  int dpi = 300;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--stages_dpi=", 13) == 0) dpi = std::atoi(argv[i] + 13);
  }
  static const std::vector<StagePage> pages = MakeStagePages(dpi);
  for (const StagePage& page : pages) RegisterPage(page);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
