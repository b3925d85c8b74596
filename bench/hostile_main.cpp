// pdf417_hostile: how long a read of a hostile page takes next to a blank
// page of the same size, and one read of a huge page for /usr/bin/time -v.
//
//   pdf417_hostile [--size N] [--reps R]   every kind on N x N pages (4000), best of R reads (3)
//   pdf417_hostile --page KIND W H         one read of one W x H page, nothing else
//
// Kinds: blank, columns (full-height fake start/stop pairs, 1-pixel modules,
// narrower than any symbol), wide-columns (pairs as wide as a symbol with
// nothing between, 3-pixel modules), noise (every pixel at random), specks
// (a million specks of 1 to 3 pixels), stripes (symbol-wide pairs filled
// with dense stripes, rows moved at random, 4-pixel modules). Times are the
// process's CPU time of the read alone, so other work on the machine
// changes them little.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "factory/hostile_pages.h"
#include "pdf417/pdf417.h"

namespace {

using pdf417::testing::PackedDib;

const char* const kKinds[] = {"blank", "columns", "wide-columns", "noise", "specks", "stripes"};

bool MakePage(const std::string& kind, int64_t w, int64_t h, PackedDib* page) {
  using namespace pdf417::testing;
  if (kind == "blank") *page = MakePackedDib(w, h);
  else if (kind == "columns") *page = FakeColumnsPage(w, h, 1, 0);
  else if (kind == "wide-columns") *page = FakeColumnsPage(w, h, 3, 5);
  else if (kind == "noise") *page = NoisePage(w, h, 1);
  else if (kind == "specks") *page = SpecksPage(w, h, 1000000, 2);
  else if (kind == "stripes") *page = StripesPage(w, h, 4, 5, 3);
  else return false;
  return true;
}

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Best CPU time of `reps` reads; *results receives the result count.
double TimeReads(const PackedDib& page, int reps, int32_t* results) {
  PDF417_Handle h = PDF417_Init();
  double best = 1e30;
  for (int r = 0; r < reps; ++r) {
    const double start = CpuSeconds();
    PDF417_ReadDib(h, page.bytes.data(), page.bytes.size());
    best = std::min(best, CpuSeconds() - start);
  }
  *results = PDF417_GetNumBarcodes(h);
  PDF417_Done(h);
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  int64_t size = 4000;
  int reps = 3;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--page" && i + 3 < argc) {
      PackedDib page;
      if (!MakePage(argv[i + 1], std::atoll(argv[i + 2]), std::atoll(argv[i + 3]), &page)) {
        std::fprintf(stderr, "unknown kind %s\n", argv[i + 1]);
        return 2;
      }
      int32_t results = 0;
      const double s = TimeReads(page, 1, &results);
      std::printf("%s %s x %s: %d results, %.3f s CPU\n", argv[i + 1], argv[i + 2], argv[i + 3], results, s);
      return 0;
    }
    if (a == "--size" && i + 1 < argc) {
      size = std::atoll(argv[++i]);
    } else if (a == "--reps" && i + 1 < argc) {
      reps = std::max(1, std::atoi(argv[++i]));
    } else {
      std::fprintf(stderr, "usage: %s [--size N] [--reps R] | --page KIND W H\n", argv[0]);
      return 2;
    }
  }
  std::printf("%-14s %6s %7s %10s %9s\n", "page", "size", "results", "CPU ms", "x blank");
  double blank = 0;
  for (const char* kind : kKinds) {
    PackedDib page;
    MakePage(kind, size, size, &page);
    int32_t results = 0;
    const double s = TimeReads(page, reps, &results);
    if (blank == 0) blank = s;
    std::printf("%-14s %6lld %7d %10.1f %9.1f\n", kind, static_cast<long long>(size), results, 1000 * s, s / blank);
  }
  return 0;
}
