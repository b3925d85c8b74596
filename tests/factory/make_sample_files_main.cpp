// Writes the bundled grey samples: a photo-like JPEG of one symbol (seen at
// an angle, under uneven light, blurred, compressed) and a one-page PDF on
// which a symbol is drawn as vector rectangles, as document generators draw
// them.
//
// Usage: make_sample_files PHOTO.jpg SCAN.pdf

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "factory/image_files.h"
#include "factory/photo_factory.h"

namespace {

using namespace pdf417::testing;

bool WriteBytes(const std::string& path, const std::string& bytes) {
  return static_cast<bool>(
      std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
}

bool WritePhoto(const std::string& path) {
  // Margins of 14 modules but none below: cut off by the picture's lower border.
  const PhotoOptions o{.symbol = {"Photographed at an angle: keystone, uneven light, blur and JPEG.", 4, 5, 2.6},
                       .keystoneDegrees = 9,
                       .sideRatio = 0.9,
                       .rotationDegrees = -4,
                       .margins = {14, 14, 14, 0},
                       .paper = 225,
                       .ink = 45,
                       .lightFar = 0.45,
                       .lightDegrees = 20,
                       .vignette = 0.15,
                       .blurSigma = 0.8,
                       .noiseSigma = 2,
                       .seed = 417};
  GreyPicture picture;
  std::string error;
  if (!RenderPhoto(o, &picture, &error)) {
    std::fprintf(stderr, "cannot render the photo: %s\n", error.c_str());
    return false;
  }
  const std::vector<uint8_t> jpeg = EncodeJpeg(picture.grey.data(), picture.width, picture.height, 1, 70);
  std::printf("%s: %dx%d, %zu bytes, text \"%s\"\n", path.c_str(), picture.width, picture.height, jpeg.size(),
              picture.truth.data.c_str());
  return WriteBytes(path, std::string(jpeg.begin(), jpeg.end()));
}

// An A4 page (595 x 842 points) with the symbol's dark runs as filled
// rectangles, modules of 0.8 point, rows three modules high.
bool WritePdf(const std::string& path) {
  const SymbolOptions o{"Invoice 2024-0417, total 1,234.50 EUR, due 30 days", 3, 4};
  EncodedSymbol symbol;
  std::string error;
  if (!EncodeSymbol(o, &symbol, &error)) {
    std::fprintf(stderr, "cannot encode: %s\n", error.c_str());
    return false;
  }
  const double module = 0.8, rowHeight = 3 * module, left = 72, top = 842 - 100;
  std::ostringstream content;
  content << "0 g\n";
  for (int r = 0; r < symbol.rows; ++r) {
    for (int c = 0, end = 0; c < symbol.widthModules; c = end + 1) {
      for (end = c; end < symbol.widthModules && symbol.modules[r][end];) ++end;
      if (end > c)
        content << left + c * module << ' ' << top - (r + 1) * rowHeight << ' ' << (end - c) * module << ' '
                << rowHeight << " re f\n";
    }
  }
  const std::string stream = content.str();
  const std::vector<std::string> objects = {
      "<< /Type /Catalog /Pages 2 0 R >>",
      "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << >> /Contents 4 0 R >>",
      "<< /Length " + std::to_string(stream.size()) + " >>\nstream\n" + stream + "endstream",
  };
  const std::string pdf = PdfDocument(objects);
  std::printf("%s: one A4 page, %zu bytes, text \"%s\"\n", path.c_str(), pdf.size(), o.data.c_str());
  return WriteBytes(path, pdf);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s PHOTO.jpg SCAN.pdf\n", argv[0]);
    return 2;
  }
  return WritePhoto(argv[1]) && WritePdf(argv[2]) ? 0 : 1;
}
