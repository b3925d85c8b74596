// TIFF intake through libtiff, from the file's bytes in memory. Each
// directory is a page. Bilevel pages (any compression libtiff knows: CCITT
// G3/G4, LZW, PackBits, none) are read scanline by scanline; everything else
// (grey, palette, RGB, tiled, other orientations) goes through libtiff's RGBA
// conversion. libtiff's messages are collected per file instead of printed.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "image_file.h"

namespace pdf417read {
namespace {

// Stop counting directories here: a chain this long is damage, not a document.
constexpr int kMaxPages = 100000;

struct MemoryFile {
  std::span<const uint8_t> bytes;
  uint64_t position = 0;
  std::string firstError;
};

tmsize_t ReadProc(thandle_t h, void* buffer, tmsize_t size) {
  auto* f = static_cast<MemoryFile*>(h);
  if (size <= 0 || f->position >= f->bytes.size()) return 0;
  const size_t n = std::min<uint64_t>(static_cast<uint64_t>(size), f->bytes.size() - f->position);
  std::memcpy(buffer, f->bytes.data() + f->position, n);
  f->position += n;
  return static_cast<tmsize_t>(n);
}

tmsize_t WriteProc(thandle_t, void*, tmsize_t) { return -1; }

toff_t SeekProc(thandle_t h, toff_t offset, int whence) {
  auto* f = static_cast<MemoryFile*>(h);
  uint64_t base = 0;
  if (whence == SEEK_CUR) base = f->position;
  if (whence == SEEK_END) base = f->bytes.size();
  f->position = base + offset;
  return f->position;
}

int CloseProc(thandle_t) { return 0; }
toff_t SizeProc(thandle_t h) { return static_cast<MemoryFile*>(h)->bytes.size(); }
int MapProc(thandle_t, void**, toff_t*) { return 0; }
void UnmapProc(thandle_t, void*, toff_t) {}

int OnError(TIFF*, void* user, const char* module, const char* format, va_list args) {
  auto* f = static_cast<MemoryFile*>(user);
  if (f->firstError.empty()) {
    char text[300];
    std::vsnprintf(text, sizeof text, format, args);
    f->firstError = module && *module ? std::string(module) + ": " + text : std::string(text);
  }
  return 1;  // handled: nothing goes to stderr
}

int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
  void operator()(TIFF* t) const { TIFFClose(t); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

TiffPtr Open(MemoryFile& file) {
  std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                       TIFFOpenOptionsFree);
  if (!options) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, &file);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, &file);
  TiffPtr tif(TIFFClientOpenExt("tiff", "r", &file, ReadProc, WriteProc, SeekProc, CloseProc, SizeProc,
                                MapProc, UnmapProc, options.get()));
  if (!tif) throw ImageError("TIFF: " + (file.firstError.empty() ? std::string("cannot open") : file.firstError));
  return tif;
}

[[noreturn]] void Fail(const MemoryFile& file, const char* what) {
  throw ImageError(std::string("TIFF: ") + (file.firstError.empty() ? what : file.firstError.c_str()));
}

}  // namespace

int CountTiffPages(std::span<const uint8_t> bytes) {
  MemoryFile file;
  file.bytes = bytes;
  TiffPtr tif = Open(file);
  int pages = 1;
  while (pages < kMaxPages && TIFFReadDirectory(tif.get())) pages++;
  return pages;
}

Raster LoadTiffPage(std::span<const uint8_t> bytes, int page) {
  MemoryFile file;
  file.bytes = bytes;
  TiffPtr tif = Open(file);
  TIFF* t = tif.get();
  if (!TIFFSetDirectory(t, static_cast<tdir_t>(page))) Fail(file, "page missing");

  uint32_t width = 0, height = 0;
  uint16_t bitsPerSample = 1, samplesPerPixel = 1, photometric = PHOTOMETRIC_MINISWHITE,
           orientation = ORIENTATION_TOPLEFT;
  TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(t, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bitsPerSample);
  TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &samplesPerPixel);
  TIFFGetFieldDefaulted(t, TIFFTAG_ORIENTATION, &orientation);
  const bool hasPhotometric = TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric);
  CheckPageSize(width, height);

  Raster r;
  r.width = static_cast<int>(width);
  r.height = static_cast<int>(height);
  r.grey.resize(static_cast<size_t>(width) * height);

  const bool bilevel = bitsPerSample == 1 && samplesPerPixel == 1 &&
                       (!hasPhotometric || photometric == PHOTOMETRIC_MINISWHITE ||
                        photometric == PHOTOMETRIC_MINISBLACK);
  if (bilevel && !TIFFIsTiled(t) && orientation == ORIENTATION_TOPLEFT) {
    const tmsize_t lineSize = TIFFScanlineSize(t);
    if (lineSize < static_cast<tmsize_t>((width + 7) / 8)) Fail(file, "bad scanline size");
    std::vector<uint8_t> line(static_cast<size_t>(lineSize));
    // A missing photometric tag is read as min-is-white, as fax files mean it.
    const uint8_t setBit = photometric == PHOTOMETRIC_MINISBLACK ? 255 : 0;
    for (uint32_t y = 0; y < height; y++) {
      if (TIFFReadScanline(t, line.data(), y, 0) < 0) Fail(file, "cannot read scanline");
      uint8_t* dst = r.grey.data() + static_cast<size_t>(y) * width;
      for (uint32_t x = 0; x < width; x++)
        dst[x] = (line[x >> 3] >> (7 - (x & 7))) & 1 ? setBit : static_cast<uint8_t>(255 - setBit);
    }
    r.bilevel = true;
    return r;
  }

  char reason[1024] = "";
  if (!TIFFRGBAImageOK(t, reason)) throw ImageError(std::string("TIFF: ") + reason);
  std::vector<uint32_t> rgba(static_cast<size_t>(width) * height);
  if (!TIFFReadRGBAImageOriented(t, width, height, rgba.data(), ORIENTATION_TOPLEFT, 1))
    Fail(file, "cannot decode image");
  for (size_t i = 0; i < rgba.size(); i++) {
    const uint32_t p = rgba[i];
    // libtiff hands out premultiplied alpha: over white adds the uncovered part.
    const unsigned grey = Luminance(TIFFGetR(p), TIFFGetG(p), TIFFGetB(p));
    r.grey[i] = static_cast<uint8_t>(std::min(255u, grey + 255u - TIFFGetA(p)));
  }
  r.bilevel = bilevel;
  return r;
}

}  // namespace pdf417read
