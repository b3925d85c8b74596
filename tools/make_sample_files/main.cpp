// Writes the bundled sample files and the pages the Python tests read, one
// per call:
//   make_sample_files page OUT.bmp    data/sample-page.bmp: an A5-sized page
//       at 200 dpi, three symbols of module width 3 px and row height 9 px,
//       upright, upside down and sideways, each placed by the top-left
//       corner of its body's box so that its edges fall on whole pixels;
//   make_sample_files photo OUT.jpg   data/sample-photo.jpg: a photo-like
//       JPEG of one symbol (seen at an angle, under uneven light, blurred,
//       compressed);
//   make_sample_files pdf OUT.pdf     data/sample-scan.pdf: a one-page PDF on
//       which a symbol is drawn as vector rectangles, as document generators
//       draw them;
//   make_sample_files macro OUT.bmp   two Macro PDF417 symbols of one message
//       (file ID 123456): part 1 of 2 holds "Grüße, " in UTF-8 (ECI 26) and
//       "café" in ISO-8859-1 (ECI 3), part 2 holds "end".

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "factory/image_files.h"
#include "factory/page_factory.h"
#include "factory/photo_factory.h"

namespace {

using namespace pdf417::testing;

bool WriteBytes(const std::string& path, const std::string& bytes) {
  return static_cast<bool>(
      std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
}

// Encodes with libzint, saying on stderr why it cannot.
bool Encode(const SymbolOptions& o, EncodedSymbol* symbol) {
  std::string error;
  const bool ok = EncodeSymbol(o, symbol, &error);
  if (!ok) std::fprintf(stderr, "cannot encode \"%s\": %s\n", o.data.c_str(), error.c_str());
  return ok;
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
  if (!Encode(o, &symbol)) return false;
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

bool WritePage(const std::string& path) {
  const struct {
    const char* text;
    int ecLevel, columns, left, top, direction;
  } placements[] = {
      {"Hello from the sample page", 2, 3, 440, 280, 0},
      {"314159265358979323846264338327", 2, 2, 280, 940, 2},
      {"Order #42: 3 x widgets @ 7.50 EUR; thanks!", 3, 3, 830, 920, 3},
  };
  Page page = MakePage(1240, 1754);
  for (const auto& p : placements) {
    const SymbolOptions options{p.text, p.ecLevel, p.columns};
    EncodedSymbol symbol;
    if (!Encode(options, &symbol)) return false;
    const double length = symbol.widthModules * 3.0, thickness = symbol.rows * 9.0, sideways = p.direction >= 2;
    PlaceSymbol(page, options, p.left + (sideways ? thickness : length) / 2,
                p.top + (sideways ? length : thickness) / 2, p.direction);
  }
  for (const SymbolTruth& s : page.symbols) std::printf("direction %d: \"%s\"\n", s.direction, s.data.c_str());
  return WriteBmp(page, path);
}

bool WriteMacroPage(const std::string& path) {
  Page page = MakePage(600, 500);
  SymbolOptions parts[2] = {{.segments = {{26,
                                           "Gr\xc3\xbc\xc3\x9f"
                                           "e, "},
                                          {3, "caf\xe9"}}},
                            {.data = "end"}};
  for (int i = 0; i < 2; i++) {
    parts[i].macroIndex = i + 1, parts[i].macroCount = 2, parts[i].macroId = "123456";
    std::string error;
    if (!PlaceSymbol(page, parts[i], 300, 120 + 260 * i, 0, 0.0, &error)) {
      std::fprintf(stderr, "cannot place symbol %d: %s\n", i + 1, error.c_str());
      return false;
    }
  }
  return WriteBmp(page, path);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 3 ? argv[1] : "";
  const bool ok = what == "page"    ? WritePage(argv[2])
                  : what == "photo" ? WritePhoto(argv[2])
                  : what == "pdf"   ? WritePdf(argv[2])
                  : what == "macro" ? WriteMacroPage(argv[2])
                                    : (std::fprintf(stderr, "usage: %s page|photo|pdf|macro OUTPUT\n", argv[0]), false);
  if (!ok && !what.empty()) std::fprintf(stderr, "cannot write %s\n", argv[2]);
  return ok ? 0 : what.empty() ? 2 : 1;
}
