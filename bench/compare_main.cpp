// Page-level comparison: reads the same factory pages with this library and,
// as a black box through its public API, with ZXing C++, and prints per page
// type the share of symbols each one read exactly, the median time per page
// and the ratio. Optionally also times an earlier build of this library
// (loaded from its shared object) on the same pages, checks that both builds
// report exactly the same results and prints the speed ratio.
//
// Only the read is timed: this library gets the packed 1-bit DIB already in
// memory (PDF417_ReadDib), ZXing an 8-bit grey buffer already in memory.
//
// Usage: pdf417_compare [options]
//   --reps N          timed reads per page and reader (default 5)
//   --variants N      pages per page type, with different payloads (default 3)
//   --only NAME       only the page types whose name contains NAME
//   --dpi 200|300     only one resolution
//   --baseline SO     also time the library in shared object SO (before/after)
//   --no-zxing        leave ZXing out
//   --zxing-binarizer local|fixed   ZXing's binarizer (default fixed: the
//                     input is bilevel, so a fixed threshold loses nothing)
//   --zxing-try-harder 0|1          (default 1)
//   --wall            time wall-clock instead of the thread's CPU time
//   --read-bmp FILE   read one BMP file once (for heaptrack, callgrind or
//                     /usr/bin/time -v: nothing else is held but the page)
//                     with this library, or the --baseline one, and exit
//   --write-bmp DIR N write N factory pages (all types in turn) as BMP files
//                     to DIR and exit
//   --grey            grey pictures instead: an A4 page at 300 dpi (three
//                     symbols, ink and paper grey, light falling off to 60 %)
//                     and 640 x 480 photo-like pictures of one symbol (the
//                     photo set's classes in turn). This library reads them
//                     with PDF417_ReadGrey, ZXing with its LocalAverage
//                     binarizer, and a --baseline build (which has no grey
//                     export) the page binarised with Otsu's threshold, as
//                     pdf417read handed grey pages over before
#include <dlfcn.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench_pages.h"
#include "factory/page_factory.h"
#include "factory/photo_factory.h"
#include "image/grey_binarize.h"
#include "pdf417/pdf417.h"

#ifdef PDF417_BENCH_WITH_ZXING
#  include <ZXing/ReadBarcode.h>
#endif

namespace {

namespace tf = pdf417::testing;
using pdf417::bench::kPageTypes;
using pdf417::bench::kResolutions;
using pdf417::bench::MakeBenchPage;
using pdf417::bench::PageType;
using pdf417::bench::Resolution;

struct BenchPage {
  std::string type;
  int dpi = 0;
  std::vector<std::string> truth;  // payload of every symbol placed
  std::vector<uint8_t> dib;        // this library's input (of a grey page: binarised with Otsu's threshold)
  std::vector<uint8_t> grey;       // ZXing's input: 0 dark, 255 light
  int width = 0, height = 0;
  bool greyInput = false;  // this library reads `grey` with PDF417_ReadGrey
};

// A grey page's DIB as pdf417read made it before the grey export: every
// pixel below Otsu's threshold dark.
std::vector<uint8_t> OtsuDib(const BenchPage& p) {
  const pdf417::GreyRaster raster{p.grey.data(), p.width, p.height, p.width};
  uint64_t histogram[256];
  pdf417::CountGreyLevels(raster, histogram);
  return pdf417::bench::ThresholdedDib(p.grey, p.width, p.height, pdf417::OtsuThreshold(histogram));
}

// The A4 page of three symbols (page type "3 mixed dirs", 300 dpi) in grey:
// ink 40, paper 215, light falling off to 60 % from left to right.
bool MakeGreyA4(int v, BenchPage* p) {
  tf::Page page;
  if (!MakeBenchPage(kPageTypes[2], kResolutions[1], v, &page)) return false;
  p->type = "grey A4";
  p->dpi = 300;
  p->width = page.width;
  p->height = page.height;
  p->grey.resize(page.dark.size());
  for (int y = 0; y < page.height; ++y)
    for (int x = 0; x < page.width; ++x) {
      const double light = 1.0 - 0.4 * x / page.width;
      p->grey[static_cast<size_t>(y) * static_cast<size_t>(page.width) + static_cast<size_t>(x)] =
          static_cast<uint8_t>(light * (page.at(x, y) ? 40 : 215));
    }
  for (const tf::SymbolTruth& t : page.symbols) p->truth.push_back(t.data);
  return true;
}

// A 640 x 480 photo-like picture: sample v of the photo set's class v mod 8
// with a text payload of the sample's length (the classic text both readers
// return is then the data), its margins set so that it fills that frame (a
// symbol too large for it is refused, and the next sample taken).
bool MakePhoto640(int v, BenchPage* p) {
  for (uint32_t index = static_cast<uint32_t>(v);; index += 8) {
    tf::PhotoOptions o = tf::PhotoSample(static_cast<tf::PhotoDistortion>(v % tf::kPhotoDistortionCount), index);
    tf::EncodedSymbol encoded;
    for (size_t n = o.symbol.data.size(); n > 0; n = n * 3 / 4) {
      o.symbol.data = tf::TextPayload(n, index);
      if (tf::EncodeSymbol(o.symbol, &encoded, nullptr)) break;
    }
    for (double& m : o.margins) m = 0;
    tf::GreyPicture bare;
    if (!tf::RenderPhoto(o, &bare)) return false;
    if (bare.width > 620 || bare.height > 460) continue;
    const double mw = o.symbol.moduleWidth;
    o.margins[0] = (640 - bare.width) / 2 / mw;
    o.margins[2] = (640 - bare.width) / mw - o.margins[0];
    o.margins[1] = (480 - bare.height) / 2 / mw;
    o.margins[3] = (480 - bare.height) / mw - o.margins[1];
    tf::GreyPicture picture;
    if (!tf::RenderPhoto(o, &picture)) return false;
    p->type = "photo 640x480";
    p->dpi = 0;
    p->width = picture.width;
    p->height = picture.height;
    p->grey = std::move(picture.grey);
    p->truth.push_back(picture.truth.data);
    return true;
  }
}

std::vector<BenchPage> MakeGreyPageSet(int variants) {
  std::vector<BenchPage> pages;
  for (int kind = 0; kind < 2; ++kind) {
    for (int v = 0; v < (kind == 0 ? variants : 8 * variants); ++v) {
      BenchPage p;
      if (!(kind == 0 ? MakeGreyA4(v, &p) : MakePhoto640(v, &p))) std::exit(2);
      p.greyInput = true;
      p.dib = OtsuDib(p);
      pages.push_back(std::move(p));
    }
  }
  return pages;
}

std::vector<BenchPage> MakePageSet(int variants, const std::string& only, int onlyDpi) {
  std::vector<BenchPage> pages;
  for (const Resolution& res : kResolutions) {
    if (onlyDpi && res.dpi != onlyDpi) continue;
    for (const PageType& type : kPageTypes) {
      if (!only.empty() && std::string(type.name).find(only) == std::string::npos) continue;
      for (int v = 0; v < variants; ++v) {
        tf::Page page;
        if (!MakeBenchPage(type, res, v, &page)) std::exit(2);
        BenchPage p;
        p.type = type.name;
        p.dpi = res.dpi;
        for (const tf::SymbolTruth& t : page.symbols) p.truth.push_back(t.data);
        p.dib = tf::ToDib(page);
        p.width = page.width;
        p.height = page.height;
        p.grey.resize(page.dark.size());
        for (size_t i = 0; i < page.dark.size(); ++i) p.grey[i] = page.dark[i] ? 0 : 255;
        pages.push_back(std::move(p));
      }
    }
  }
  return pages;
}

// ------------------------------------------------------------ this library

// The public C API as function pointers, so that an earlier build loaded
// from its shared object runs through exactly the same code.
struct LibraryApi {
  decltype(&PDF417_Init) init;
  decltype(&PDF417_ReadDib) readDib;
  decltype(&PDF417_ReadGrey) readGrey;  // null for a build without it
  decltype(&PDF417_GetNumBarcodes) count;
  decltype(&PDF417_GetSymbolText) text;
  decltype(&PDF417_GetCoordinates) coordinates;
  decltype(&PDF417_GetDirection) direction;
  decltype(&PDF417_GetErrorCorrectionLevel) ecl;
  decltype(&PDF417_GetMode) mode;
  decltype(&PDF417_GetConfidence) confidence;
  decltype(&PDF417_Done) done;
};

LibraryApi LinkedApi() {
  return {PDF417_Init,          PDF417_ReadDib,        PDF417_ReadGrey,     PDF417_GetNumBarcodes,
          PDF417_GetSymbolText, PDF417_GetCoordinates, PDF417_GetDirection, PDF417_GetErrorCorrectionLevel,
          PDF417_GetMode,       PDF417_GetConfidence,  PDF417_Done};
}

bool LoadApi(const char* path, LibraryApi* api) {
  void* so = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!so) {
    std::fprintf(stderr, "cannot load %s: %s\n", path, dlerror());
    return false;
  }
  bool ok = true;
  auto get = [&](auto& fn, const char* name) {
    fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(dlsym(so, name));
    if (!fn) ok = false;
  };
  get(api->init, "PDF417_Init");
  get(api->readDib, "PDF417_ReadDib");
  get(api->count, "PDF417_GetNumBarcodes");
  get(api->text, "PDF417_GetSymbolText");
  get(api->coordinates, "PDF417_GetCoordinates");
  get(api->direction, "PDF417_GetDirection");
  get(api->ecl, "PDF417_GetErrorCorrectionLevel");
  get(api->mode, "PDF417_GetMode");
  get(api->confidence, "PDF417_GetConfidence");
  get(api->done, "PDF417_Done");
  api->readGrey = reinterpret_cast<decltype(&PDF417_ReadGrey)>(dlsym(so, "PDF417_ReadGrey"));
  if (!ok) std::fprintf(stderr, "%s lacks a PDF417_ function\n", path);
  return ok;
}

// Everything a read reports, flattened, to compare two builds byte for byte.
struct ReadOutcome {
  std::vector<std::string> data;  // data bytes of every result (text less its two zero bytes)
  std::string all;                // every getter's output, serialised
};

ReadOutcome Collect(const LibraryApi& api, PDF417_Handle h) {
  ReadOutcome o;
  const int32_t n = api.count(h);
  o.all.append(reinterpret_cast<const char*>(&n), sizeof n);
  for (int32_t i = 0; i < n; ++i) {
    unsigned char text[2000];
    int32_t len = 0;
    api.text(h, i, &len, text);
    int32_t f[12];
    api.coordinates(h, i, &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7]);
    f[8] = api.direction(h, i);
    f[9] = api.ecl(h, i);
    f[10] = api.mode(h, i);
    f[11] = api.confidence(h, i);
    o.all.append(reinterpret_cast<const char*>(&len), sizeof len);
    o.all.append(reinterpret_cast<const char*>(text), static_cast<size_t>(len));
    o.all.append(reinterpret_cast<const char*>(f), sizeof f);
    o.data.emplace_back(reinterpret_cast<const char*>(text), len >= 2 ? static_cast<size_t>(len - 2) : 0);
  }
  return o;
}

// Milliseconds of the calling thread's CPU time (or of wall time with
// --wall): on a shared machine the thread's own time is what the read costs.
bool gWallClock = false;
double NowMs() {
  timespec t{};
  clock_gettime(gWallClock ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// One read of the page: a grey page as grey when the build can, otherwise
// its DIB.
void LibraryRead(const LibraryApi& api, PDF417_Handle h, const BenchPage& p) {
  if (p.greyInput && api.readGrey != nullptr) {
    api.readGrey(h, p.grey.data(), p.width, p.height, p.width);
  } else {
    api.readDib(h, p.dib.data(), p.dib.size());
  }
}

double TimeLibraryRead(const LibraryApi& api, PDF417_Handle h, const BenchPage& p) {
  const double t0 = NowMs();
  LibraryRead(api, h, p);
  return NowMs() - t0;
}

// ------------------------------------------------------------ ZXing

struct ZxingOptions {
  bool enabled = true;
  bool tryHarder = true;
  bool fixedThreshold = true;
};

#ifdef PDF417_BENCH_WITH_ZXING
ZXing::DecodeHints MakeHints(const ZxingOptions& z) {
  ZXing::DecodeHints hints;
  hints.setFormats(ZXing::BarcodeFormat::PDF417);
  hints.setTryRotate(true);
  hints.setTryHarder(z.tryHarder);
  hints.setBinarizer(z.fixedThreshold ? ZXing::Binarizer::FixedThreshold : ZXing::Binarizer::LocalAverage);
  return hints;
}

double TimeZxingRead(const ZXing::DecodeHints& hints, const BenchPage& p, std::vector<std::string>* found) {
  const ZXing::ImageView view(p.grey.data(), p.width, p.height, ZXing::ImageFormat::Lum);
  const double t0 = NowMs();
  const ZXing::Results results = ZXing::ReadBarcodes(view, hints);
  const double elapsed = NowMs() - t0;
  found->clear();
  for (const ZXing::Result& r : results) {
    if (!r.isValid()) continue;
    const auto& b = r.bytes();
    found->emplace_back(b.begin(), b.end());
  }
  return elapsed;
}
#endif

// ------------------------------------------------------------ statistics

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// Symbols of the page whose exact bytes some result carries.
int CountFound(const std::vector<std::string>& truth, const std::vector<std::string>& results) {
  int found = 0;
  for (const std::string& t : truth) {
    if (std::find(results.begin(), results.end(), t) != results.end()) ++found;
  }
  return found;
}

struct TypeStats {
  std::string type;
  int dpi = 0;
  int symbols = 0, foundLib = 0, foundZx = 0, foundBase = 0;
  std::vector<double> lib, zx, base;
  bool identical = true;
};

int WriteBmps(const std::string& dir, int count) {
  int written = 0;
  for (int v = 0; written < count; ++v) {
    for (const Resolution& res : kResolutions) {
      for (const PageType& type : kPageTypes) {
        if (written == count) break;
        tf::Page page;
        if (!MakeBenchPage(type, res, v % 5, &page)) return 2;
        char name[64];
        std::snprintf(name, sizeof name, "/page%03d.bmp", written + 1);
        if (!tf::WriteBmp(page, dir + name)) {
          std::fprintf(stderr, "cannot write %s%s\n", dir.c_str(), name);
          return 2;
        }
        ++written;
      }
    }
  }
  std::printf("wrote %d pages to %s\n", written, dir.c_str());
  return 0;
}

// One read of a BMP file's DIB (the file less its 14-byte file header).
int ReadBmpOnce(const std::string& path, const LibraryApi& api) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (file.size() < 14 + 48) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return 2;
  }
  PDF417_Handle h = api.init();
  api.readDib(h, file.data() + 14, file.size() - 14);
  std::printf("%s: %d results\n", path.c_str(), api.count(h));
  api.done(h);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int reps = 5, variants = 3, onlyDpi = 0;
  bool grey = false;
  std::string only, baselinePath, readBmp;
  ZxingOptions zopt;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "%s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--reps") reps = std::max(1, std::atoi(next().c_str()));
    else if (a == "--variants") variants = std::max(1, std::atoi(next().c_str()));
    else if (a == "--only") only = next();
    else if (a == "--dpi") onlyDpi = std::atoi(next().c_str());
    else if (a == "--baseline") baselinePath = next();
    else if (a == "--no-zxing") zopt.enabled = false;
    else if (a == "--zxing-binarizer") zopt.fixedThreshold = next() != "local";
    else if (a == "--zxing-try-harder") zopt.tryHarder = next() != "0";
    else if (a == "--wall") gWallClock = true;
    else if (a == "--grey") grey = true;
    else if (a == "--read-bmp") readBmp = next();
    else if (a == "--write-bmp") {
      const std::string dir = next();
      return WriteBmps(dir, std::atoi(next().c_str()));
    } else {
      std::fprintf(stderr, "unknown option %s (see the head of bench/compare_main.cpp)\n", a.c_str());
      return 2;
    }
  }
#ifndef PDF417_BENCH_WITH_ZXING
  zopt.enabled = false;
#endif

  const LibraryApi lib = LinkedApi();
  LibraryApi base{};
  const bool withBase = !baselinePath.empty();
  if (withBase && !LoadApi(baselinePath.c_str(), &base)) return 2;
  if (!readBmp.empty()) return ReadBmpOnce(readBmp, withBase ? base : lib);

  std::fprintf(stderr, "building pages...\n");
  // Grey pictures are read by ZXing with the binarizer made for them.
  if (grey) zopt.fixedThreshold = false;
  const std::vector<BenchPage> pages = grey ? MakeGreyPageSet(variants) : MakePageSet(variants, only, onlyDpi);
#ifdef PDF417_BENCH_WITH_ZXING
  const ZXing::DecodeHints hints = MakeHints(zopt);
#endif

  std::vector<TypeStats> stats;
  PDF417_Handle h = lib.init();
  PDF417_Handle hb = withBase ? base.init() : nullptr;
  for (const BenchPage& p : pages) {
    if (stats.empty() || stats.back().type != p.type || stats.back().dpi != p.dpi) {
      stats.push_back(TypeStats{});
      stats.back().type = p.type;
      stats.back().dpi = p.dpi;
    }
    TypeStats& s = stats.back();
    s.symbols += static_cast<int>(p.truth.size());
    // One untimed read of each reader first: it fixes the outcome and warms
    // the caches; the timed reads follow in turns.
    LibraryRead(lib, h, p);
    const ReadOutcome mine = Collect(lib, h);
    s.foundLib += CountFound(p.truth, mine.data);
    if (withBase) {
      LibraryRead(base, hb, p);
      const ReadOutcome theirs = Collect(base, hb);
      s.foundBase += CountFound(p.truth, theirs.data);
      if (theirs.all != mine.all) s.identical = false;
    }
#ifdef PDF417_BENCH_WITH_ZXING
    std::vector<std::string> zfound;
    if (zopt.enabled) {
      TimeZxingRead(hints, p, &zfound);
      s.foundZx += CountFound(p.truth, zfound);
    }
#endif
    for (int r = 0; r < reps; ++r) {
      s.lib.push_back(TimeLibraryRead(lib, h, p));
      if (withBase) s.base.push_back(TimeLibraryRead(base, hb, p));
#ifdef PDF417_BENCH_WITH_ZXING
      if (zopt.enabled) s.zx.push_back(TimeZxingRead(hints, p, &zfound));
#endif
    }
  }

  std::printf("Pages: %s, %d variant(s) per type, %d timed read(s) per page and reader.\n",
              grey ? "grey A4 pages and 640 x 480 photo-like pictures (8 per variant)" : "factory A4 pages", variants,
              reps);
  if (zopt.enabled) {
    std::printf("ZXing: ReadBarcodes, formats PDF417, tryRotate on, tryHarder %s, binarizer %s, 8-bit grey input.\n",
                zopt.tryHarder ? "on" : "off", zopt.fixedThreshold ? "FixedThreshold" : "LocalAverage");
  }
  if (grey) {
    std::printf("This library: PDF417_ReadGrey; a --baseline build: the page binarised with Otsu's threshold.\n");
  }
  std::printf("Rate: symbols whose exact bytes were returned / symbols placed. Times: median ms per page (%s).\n\n",
              gWallClock ? "wall clock" : "thread CPU time");
  std::printf("%-15s %4s %5s | %-9s %9s |", "page type", "dpi", "syms", "pdf417", "ms");
  if (zopt.enabled) std::printf(" %-9s %9s | %8s |", "zxing", "ms", "zx/ours");
  // A grey page's results cannot match the baseline's (it read the
  // Otsu page): its rate is shown instead of the comparison.
  if (withBase) std::printf(" %9s %8s %9s", "before ms", "speedup", grey ? "before" : "same out");
  std::printf("\n");
  for (const TypeStats& s : stats) {
    const double ml = Median(s.lib);
    char rate[32];
    std::snprintf(rate, sizeof rate, "%d/%d", s.foundLib, s.symbols);
    std::printf("%-15s %4d %5d | %-9s %9.3f |", s.type.c_str(), s.dpi, s.symbols, rate, ml);
    if (zopt.enabled) {
      const double mz = Median(s.zx);
      std::snprintf(rate, sizeof rate, "%d/%d", s.foundZx, s.symbols);
      std::printf(" %-9s %9.3f | %7.1fx |", rate, mz, mz / ml);
    }
    if (withBase) {
      const double mb = Median(s.base);
      std::snprintf(rate, sizeof rate, "%d/%d", s.foundBase, s.symbols);
      std::printf(" %9.3f %7.2fx %9s", mb, mb / ml, grey ? rate : s.identical ? "yes" : "NO");
    }
    std::printf("\n");
  }

  lib.done(h);
  if (withBase) base.done(hb);
  bool allSame = true;
  for (const TypeStats& s : stats) allSame = allSame && s.identical;
  return withBase && !grey && !allSame ? 1 : 0;
}
