// photo_set: reads the photo-like set through PDF417_ReadGrey and prints,
// per distortion, how many samples read back exactly their payload and how
// many gave any other data (wrong).
//
// Usage: photo_set [--count N] [--first I] [--only NAME] [--otsu] [--misses] [--write DIR]
//   --count N    samples per distortion (default 500)
//   --first I    index of the first sample (default 0)
//   --only NAME  only the distortion of that name
//   --otsu       binarise with Otsu's global threshold here and read the
//                1-bit page instead (what grey pages got before the grey export)
//   --misses     list every sample not read
//   --write DIR  also write every sample as DIR/<distortion>-<index>.pgm
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "factory/photo_factory.h"
#include "image/grey_binarize.h"
#include "pdf417/pdf417.h"

namespace {

namespace tf = pdf417::testing;

struct Outcome {
  bool read = false;
  int wrong = 0;
};

Outcome Read(const tf::GreyPicture& picture, bool otsu) {
  PDF417_Handle h = PDF417_Init();
  if (otsu) {
    const pdf417::GreyRaster raster{picture.grey.data(), picture.width, picture.height, picture.width};
    uint64_t histogram[256];
    pdf417::CountGreyLevels(raster, histogram);
    const std::vector<uint8_t> dib =
        tf::ThresholdedDib(picture.grey, picture.width, picture.height, pdf417::OtsuThreshold(histogram));
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
    if (data == picture.truth.data) {
      out.read = true;
    } else {
      ++out.wrong;
    }
  }
  PDF417_Done(h);
  return out;
}

void WritePgm(const tf::GreyPicture& picture, const std::string& path) {
  std::ofstream out(path, std::ios::binary);
  out << "P5\n" << picture.width << " " << picture.height << "\n255\n";
  out.write(reinterpret_cast<const char*>(picture.grey.data()), static_cast<std::streamsize>(picture.grey.size()));
}

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
      std::fprintf(stderr, "usage: photo_set [--count N] [--first I] [--only NAME] [--otsu] [--misses] [--write DIR]\n");
      return 2;
    }
  }
  std::printf("%-12s %7s %6s %7s %6s\n", "distortion", "samples", "read", "rate", "wrong");
  int allSamples = 0, allRead = 0, allWrong = 0;
  for (int k = 0; k < tf::kPhotoDistortionCount; ++k) {
    const auto kind = static_cast<tf::PhotoDistortion>(k);
    const char* name = tf::PhotoDistortionName(kind);
    if (!only.empty() && only != name) continue;
    int samples = 0, read = 0, wrong = 0;
    for (int i = first; i < first + count; ++i) {
      tf::GreyPicture picture;
      std::string error;
      if (!tf::RenderPhoto(tf::PhotoSample(kind, static_cast<uint32_t>(i)), &picture, &error)) {
        std::fprintf(stderr, "%s %d: %s\n", name, i, error.c_str());
        continue;
      }
      if (!writeDir.empty()) WritePgm(picture, writeDir + "/" + name + "-" + std::to_string(i) + ".pgm");
      const Outcome o = Read(picture, otsu);
      ++samples;
      read += o.read;
      wrong += o.wrong;
      if (misses && (!o.read || o.wrong)) {
        std::printf("  %s %d: %s%s (%d x %d)\n", name, i, o.read ? "read" : "missed", o.wrong ? ", wrong" : "",
                    picture.width, picture.height);
      }
    }
    std::printf("%-12s %7d %6d %6.1f%% %6d\n", name, samples, read, samples ? 100.0 * read / samples : 0.0, wrong);
    allSamples += samples, allRead += read, allWrong += wrong;
  }
  std::printf("%-12s %7d %6d %6.1f%% %6d\n", "all", allSamples, allRead,
              allSamples ? 100.0 * allRead / allSamples : 0.0, allWrong);
  return allWrong == 0 ? 0 : 1;
}
