// photo_set: reads the photo-like set (tests/factory/photo_factory.h)
// through PDF417_ReadGrey and prints, per distortion, how many pictures read
// back exactly their payload and how many results carried other data
// (wrong); with ZXing C++ installed, ZXing's figures beside them (a black
// box through its public API, LocalAverage binarizer, tryHarder and
// tryRotate on).
//
// Usage: photo_set [--count N] [--first I] [--only NAME] [--otsu] [--misses] [--write DIR]
//   --count N    pictures per distortion (default 500)
//   --first I    index of the first picture (default 0)
//   --only NAME  only the distortion of that name
//   --otsu       binarise with Otsu's threshold here and read the 1-bit page
//                instead (what grey pages got before the grey export)
//   --misses     list every picture this library did not read
//   --write DIR  also write every picture as DIR/<distortion>-<index>.pgm
// The exit status is 1 when this library gave any wrong result.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "bench_pages.h"
#include "factory/photo_factory.h"
#include "image/grey_binarize.h"
#include "pdf417/pdf417.h"

#ifdef PDF417_BENCH_WITH_ZXING
#  include <ZXing/ReadBarcode.h>
#endif

namespace {

namespace tf = pdf417::testing;

// Read: the picture's payload was among the data; wrong: results with other
// data.
struct Outcome {
  bool read = false;
  int wrong = 0;
  void Count(const std::string& data, const std::string& truth) {
    if (data == truth) {
      read = true;
    } else {
      ++wrong;
    }
  }
};

Outcome ReadWithLibrary(const tf::GreyPicture& picture, bool otsu) {
  PDF417_Handle h = PDF417_Init();
  if (otsu) {
    const pdf417::GreyRaster raster{picture.grey.data(), picture.width, picture.height, picture.width};
    uint64_t histogram[256];
    pdf417::CountGreyLevels(raster, histogram);
    const std::vector<uint8_t> dib =
        pdf417::bench::ThresholdedDib(picture.grey, picture.width, picture.height, pdf417::OtsuThreshold(histogram));
    PDF417_ReadDib(h, dib.data(), dib.size());
  } else {
    PDF417_ReadGrey(h, picture.grey.data(), picture.width, picture.height, picture.width);
  }
  Outcome out;
  for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); ++i) {
    const int32_t n = PDF417_GetData(h, i, nullptr, 0);
    if (n < 0) continue;
    std::string data(static_cast<size_t>(n), '\0');
    PDF417_GetData(h, i, reinterpret_cast<unsigned char*>(data.data()), n);
    out.Count(data, picture.truth.data);
  }
  PDF417_Done(h);
  return out;
}

#ifdef PDF417_BENCH_WITH_ZXING
Outcome ReadWithZxing(const tf::GreyPicture& picture) {
  ZXing::DecodeHints hints;
  hints.setFormats(ZXing::BarcodeFormat::PDF417);
  hints.setTryRotate(true);
  hints.setTryHarder(true);
  const ZXing::ImageView view(picture.grey.data(), picture.width, picture.height, ZXing::ImageFormat::Lum);
  Outcome out;
  for (const ZXing::Result& r : ZXing::ReadBarcodes(view, hints)) {
    if (r.isValid()) out.Count(std::string(r.bytes().begin(), r.bytes().end()), picture.truth.data);
  }
  return out;
}
#endif

struct Tally {
  int pictures = 0, read = 0, wrong = 0, zxRead = 0, zxWrong = 0;
  void Add(const Tally& t) {
    pictures += t.pictures, read += t.read, wrong += t.wrong, zxRead += t.zxRead, zxWrong += t.zxWrong;
  }
  void Print(const char* name, bool zxing) const {
    const double n = pictures > 0 ? pictures : 1;
    std::printf("%-12s %8d %6d %6.1f%% %6d", name, pictures, read, 100.0 * read / n, wrong);
    if (zxing) std::printf(" | %6d %6.1f%% %6d", zxRead, 100.0 * zxRead / n, zxWrong);
    std::printf("\n");
  }
};

}  // namespace

int main(int argc, char** argv) {
  int count = 500, first = 0;
  bool otsu = false, misses = false;
  std::string only, writeDir;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const bool more = i + 1 < argc;
    if (a == "--count" && more) {
      count = std::atoi(argv[++i]);
    } else if (a == "--first" && more) {
      first = std::atoi(argv[++i]);
    } else if (a == "--only" && more) {
      only = argv[++i];
    } else if (a == "--write" && more) {
      writeDir = argv[++i];
    } else if (a == "--otsu") {
      otsu = true;
    } else if (a == "--misses") {
      misses = true;
    } else {
      std::fprintf(stderr,
                   "usage: photo_set [--count N] [--first I] [--only NAME] [--otsu] [--misses] "
                   "[--write DIR]\n");
      return 2;
    }
  }
#ifdef PDF417_BENCH_WITH_ZXING
  constexpr bool kZxing = true;
#else
  constexpr bool kZxing = false;
#endif
  std::printf("%-12s %8s %6s %7s %6s", "distortion", "pictures", "read", "rate", "wrong");
  if (kZxing) std::printf(" | %6s %7s %6s  (ZXing)", "read", "rate", "wrong");
  std::printf("\n");
  Tally all;
  for (int k = 0; k < tf::kPhotoDistortionCount; ++k) {
    const auto kind = static_cast<tf::PhotoDistortion>(k);
    const char* name = pdf417::bench::PhotoDistortionName(kind);
    if (!only.empty() && only != name) continue;
    Tally tally;
    for (int i = first; i < first + count; ++i) {
      tf::GreyPicture picture;
      std::string error;
      if (!tf::RenderPhoto(tf::PhotoSample(kind, static_cast<uint32_t>(i)), &picture, &error)) {
        std::fprintf(stderr, "%s %d: %s\n", name, i, error.c_str());
        continue;
      }
      if (!writeDir.empty()) {
        std::ofstream out(writeDir + "/" + name + "-" + std::to_string(i) + ".pgm", std::ios::binary);
        out << "P5\n" << picture.width << " " << picture.height << "\n255\n";
        out.write(reinterpret_cast<const char*>(picture.grey.data()),
                  static_cast<std::streamsize>(picture.grey.size()));
      }
      const Outcome o = ReadWithLibrary(picture, otsu);
      ++tally.pictures;
      tally.read += o.read;
      tally.wrong += o.wrong;
#ifdef PDF417_BENCH_WITH_ZXING
      const Outcome z = ReadWithZxing(picture);
      tally.zxRead += z.read;
      tally.zxWrong += z.wrong;
#endif
      if (misses && (!o.read || o.wrong)) {
        std::printf("  %s %d: %s%s (%d x %d)\n", name, i, o.read ? "read" : "missed", o.wrong ? ", wrong" : "",
                    picture.width, picture.height);
      }
    }
    tally.Print(name, kZxing);
    all.Add(tally);
  }
  all.Print("all", kZxing);
  return all.wrong == 0 ? 0 : 1;
}
