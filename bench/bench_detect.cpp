// Detection on an A4 page at 300 dpi (2480 x 3508): blank, and with three
// symbols. ScanRows is timed on its own as well, to show the share of row
// scanning in a whole detection.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "detect/detection_workspace.h"
#include "detect/detector.h"
#include "detect/row_scanner.h"
#include "factory/page_factory.h"
#include "image/bit_image.h"

namespace {

using namespace pdf417;

BitImagePtr A4Page(int symbols) {
  testing::Page page = testing::MakePage(2480, 3508);
  const double centres[3][2] = {{700, 700}, {1700, 1700}, {900, 2800}};
  for (int s = 0; s < symbols; ++s) {
    testing::SymbolOptions o;
    o.data = testing::TextPayload(300, static_cast<uint32_t>(20 + s));
    o.columns = 6;
    o.moduleWidth = 4;
    o.rowHeight = 3;
    testing::PlaceSymbol(page, o, centres[s][0], centres[s][1], s == 1 ? 1 : 0);
  }
  const std::vector<uint8_t> dib = testing::ToDib(page);
  return BitImagePtr(LoadBitImage(dib.data(), dib.size()));
}

void DetectPage(benchmark::State& state) {
  BitImagePtr image = A4Page(static_cast<int>(state.range(0)));
  auto ws = std::make_unique<DetectionWorkspace>();
  int32_t found = 0;
  for (auto _ : state) {
    CandidateList list{};
    DetectSymbols(*ws, *image, list);
    found = list.count;
    FreeCandidateList(&list);
  }
  state.counters["candidates"] = found;
}
BENCHMARK(DetectPage)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond);

void ScanPageRows(benchmark::State& state) {
  BitImagePtr image = A4Page(static_cast<int>(state.range(0)));
  auto ws = std::make_unique<DetectionWorkspace>();
  ws->image = image.get();
  for (auto _ : state) {
    ScanRowList rows{};
    ScanRows(*ws, 10, rows);
    FreeScanRows(rows);
  }
}
BENCHMARK(ScanPageRows)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
