// The command-line reader's image intake over arbitrary files: format
// detection, page counting, the BMP/PNG/TIFF/PNM decoders and binarisation.
// A damaged file may only end in ImageError (or another std::exception,
// which the reader reports per file); never in a crash or an access outside
// the file's bytes.
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "binarize.h"
#include "image_file.h"

namespace {

void Require(bool ok) {
  if (!ok) std::abort();
}

void CheckPage(const pdf417read::PageImage& page, std::span<const uint8_t> bytes) {
  using namespace pdf417read;
  if (!page.dib.empty()) {
    Require(page.dib.data() >= bytes.data() && page.dib.data() + page.dib.size() <= bytes.data() + bytes.size());
    return;
  }
  const Raster& r = page.raster;
  Require(r.width > 0 && r.height > 0);
  Require(r.grey.size() == static_cast<size_t>(r.width) * static_cast<size_t>(r.height));
  const Threshold threshold = ChooseThreshold(r, -1);
  std::vector<uint8_t> dib(DibSize(r.width, r.height));
  PackDib(r, threshold, dib);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace pdf417read;
  // Exact-size copy so AddressSanitizer sees the end of the file.
  std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
  std::copy(data, data + size, copy.get());
  const std::span<const uint8_t> bytes(copy.get(), size);
  try {
    const FileFormat format = DetectFormat(bytes);
    const int pages = CountPages(format, bytes);
    Require(pages >= 0);
    for (int p = 0; p < pages && p < 4; ++p) {
      try {
        CheckPage(LoadPage(format, bytes, p), bytes);
      } catch (const std::exception&) {
      }
    }
  } catch (const std::exception&) {
  }
  return 0;
}
