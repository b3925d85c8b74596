// The command-line reader's image intake over arbitrary files: format
// detection, page indexing, the BMP/PNG/TIFF/PNM/JPEG decoders and
// binarisation (PDF pages go to a module this target does not load).
// A damaged file may only end in ImageError (or another std::exception,
// which the reader reports per file); never in a crash or an access outside
// the file's bytes.
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "binarize.h"
#include "fuzz_input.h"
#include "image_file.h"

namespace {

using pdf417::fuzz::Require;

void CheckPage(const pdf417read::PageImage& page, std::span<const uint8_t> bytes) {
  using namespace pdf417read;
  switch (page.kind) {
    case PageImage::Kind::StoredDib:
      Require(page.dib.data() >= bytes.data() && page.dib.data() + page.dib.size() <= bytes.data() + bytes.size());
      return;
    case PageImage::Kind::Bits: {
      const BitRaster& r = page.bits;
      Require(r.width > 0 && r.height > 0 && r.rows.size() == DibStride(r.width) * static_cast<size_t>(r.height));
      std::vector<uint8_t> dib(DibSize(r.width, r.height));
      PackDib(r, dib);
      return;
    }
    case PageImage::Kind::Grey: break;
  }
  const GreyRaster& r = page.grey;
  Require(r.width > 0 && r.height > 0);
  Require(r.grey.size() == static_cast<size_t>(r.width) * static_cast<size_t>(r.height));
  std::vector<uint8_t> dib(DibSize(r.width, r.height));
  PackDib(r, 128, dib);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace pdf417read;
  try {
    // The file's own vector is exactly the file's size, so AddressSanitizer
    // sees its end.
    LoadContext context;
    const std::shared_ptr<const SourceFile> file =
        OpenSource(std::vector<uint8_t>(data, data + size), InputLimits{.maxPages = 4}, context);
    Require(file->pageCount >= 1 && file->pageCount <= 4);
    for (int p = 0; p < file->pageCount; ++p) {
      try {
        CheckPage(LoadPage(file, p, context), file->bytes);
      } catch (const std::exception&) {}
    }
  } catch (const std::exception&) {}
  return 0;
}
