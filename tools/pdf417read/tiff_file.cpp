// TIFF intake through libtiff, from the file's bytes in memory. Each
// directory is a page; their offsets are listed once when the file is
// opened, and a page opens its own directory directly, so N pages cost O(N).
// Bilevel pages (any compression libtiff knows: CCITT G3/G4, LZW, PackBits,
// none) are read as packed scanlines or tiles into a 1-bit raster; grey,
// palette and RGB strips as scanlines into a grey raster; everything else
// (tiles, YCbCr, CMYK, alpha, ...) through libtiff's RGBA conversion a band
// of rows at a time. Rows are stored as they decode.
// libtiff's messages are collected per file instead of printed.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "image_file.h"

namespace pdf417read {
namespace {

// The most a single allocation inside libtiff may take; a page is read in
// strips, tiles or bands far smaller than this.
constexpr tmsize_t kMaxLibtiffAllocation = tmsize_t{256} << 20;
// RGBA rows converted at a time, at most this many bytes.
constexpr size_t kMaxBandBytes = size_t{16} << 20;

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

// mode "r" reads the first directory, "rh" only the header.
TiffPtr Open(MemoryFile& file, const char* mode) {
  std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
  if (!options) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, &file);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, &file);
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kMaxLibtiffAllocation);
  TiffPtr tif(TIFFClientOpenExt("tiff", mode, &file, ReadProc, WriteProc, SeekProc, CloseProc, SizeProc, MapProc,
                                UnmapProc, options.get()));
  if (!tif) throw ImageError("TIFF: " + (file.firstError.empty() ? std::string("cannot open") : file.firstError));
  return tif;
}

[[noreturn]] void Fail(const MemoryFile& file, const char* what) {
  throw ImageError(std::string("TIFF: ") + (file.firstError.empty() ? what : file.firstError.c_str()));
}

// How a page's stored rows map onto the upright page, as libtiff's RGBA
// conversion reads the orientation tag (the transposed ones as their
// untransposed counterparts).
struct Flips {
  bool vertical = false, horizontal = false;
};
Flips OrientationFlips(uint16_t orientation) {
  switch (orientation) {
    case ORIENTATION_TOPRIGHT:
    case ORIENTATION_RIGHTTOP: return {false, true};
    case ORIENTATION_BOTRIGHT:
    case ORIENTATION_RIGHTBOT: return {true, true};
    case ORIENTATION_BOTLEFT:
    case ORIENTATION_LEFTBOT: return {true, false};
    default: return {};
  }
}

void ReverseRows(std::vector<uint8_t>& rows, size_t rowBytes) {
  const size_t count = rows.size() / rowBytes;
  uint8_t* const data = rows.data();
  for (size_t y = 0; y < count / 2; y++)
    std::swap_ranges(data + y * rowBytes, data + (y + 1) * rowBytes, data + (count - 1 - y) * rowBytes);
}

// Mirrors the first `width` pixels of a packed row.
void MirrorBits(uint8_t* row, int width, std::vector<uint8_t>& scratch) {
  scratch.assign(row, row + (width + 7) / 8);
  std::fill(row, row + scratch.size(), 0);
  for (int x = 0; x < width; x++) {
    const int from = width - 1 - x;
    const bool dark = (scratch[static_cast<size_t>(from >> 3)] >> (7 - (from & 7))) & 1;
    if (dark) row[x >> 3] |= static_cast<uint8_t>(0x80u >> (x & 7));
  }
}

// A bilevel page: packed scanlines (strips) or tiles, copied as they are.
void ReadBilevel(TIFF* t, const MemoryFile& file, uint32_t width, uint32_t height, RowBuffer& rows) {
  const size_t stride = DibStride(width);
  if (!TIFFIsTiled(t)) {
    if (TIFFScanlineSize(t) > static_cast<tmsize_t>(stride)) Fail(file, "bad scanline size");
    for (uint32_t y = 0; y < height; y++)
      if (TIFFReadScanline(t, rows.AddRow(), y, 0) < 0) Fail(file, "cannot read scanline");
    return;
  }
  uint32_t tileWidth = 0, tileLength = 0;
  TIFFGetField(t, TIFFTAG_TILEWIDTH, &tileWidth);
  TIFFGetField(t, TIFFTAG_TILELENGTH, &tileLength);
  if (tileWidth == 0 || tileWidth % 8 || tileLength == 0) Fail(file, "unsupported tile size");
  const tmsize_t tileRowBytes = TIFFTileRowSize(t);
  if (tileRowBytes != static_cast<tmsize_t>(tileWidth / 8)) Fail(file, "bad tile row size");
  std::vector<uint8_t> tile(static_cast<size_t>(TIFFTileSize(t)));
  const size_t rowBytes = (width + 7) / 8;
  for (uint32_t top = 0; top < height; top += tileLength) {
    const uint32_t bandRows = std::min(tileLength, height - top);
    std::vector<uint8_t*> band(bandRows);
    for (auto& row : band) row = rows.AddRow();
    for (uint32_t left = 0; left < width; left += tileWidth) {
      if (TIFFReadTile(t, tile.data(), left, top, 0, 0) < 0) Fail(file, "cannot read tile");
      const size_t at = left / 8, n = std::min<size_t>(tileWidth / 8, rowBytes - at);
      for (uint32_t r = 0; r < bandRows; r++) std::memcpy(band[r] + at, tile.data() + r * tileRowBytes, n);
    }
  }
}

// Grey (8 or 16 bits, either polarity), RGB (8 or 16 bits) and palette pages
// in strips, one scanline at a time: libtiff decodes each strip once and
// never holds more than its compressed bytes. Returns false for any other
// layout.
bool ReadGreyScanlines(TIFF* t, const MemoryFile& file, uint32_t width, uint32_t height, RowBuffer& rows) {
  uint16_t bits = 0, samples = 0, photometric = 0, planar = PLANARCONFIG_CONTIG;
  TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(t, TIFFTAG_PLANARCONFIG, &planar);
  if (TIFFIsTiled(t) || planar != PLANARCONFIG_CONTIG || !TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric))
    return false;
  const bool grey = (photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE) && samples == 1 &&
                    (bits == 8 || bits == 16);
  const bool rgb = photometric == PHOTOMETRIC_RGB && samples == 3 && (bits == 8 || bits == 16);
  const bool palette = photometric == PHOTOMETRIC_PALETTE && samples == 1 && bits <= 8;
  if (!grey && !rgb && !palette) return false;
  uint8_t paletteGrey[256] = {};
  if (palette) {
    uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
    if (!TIFFGetField(t, TIFFTAG_COLORMAP, &red, &green, &blue)) Fail(file, "palette without colour map");
    const int entries = 1 << bits;
    // Old writers stored 8-bit colour maps: no entry above 255 means those.
    bool eightBit = true;
    for (int i = 0; i < entries; i++) eightBit = eightBit && red[i] < 256 && green[i] < 256 && blue[i] < 256;
    const int shift = eightBit ? 0 : 8;
    for (int i = 0; i < entries; i++)
      paletteGrey[i] = Luminance(unsigned{red[i]} >> shift, unsigned{green[i]} >> shift, unsigned{blue[i]} >> shift);
  }
  std::vector<uint8_t> line(static_cast<size_t>(TIFFScanlineSize(t)));
  const size_t need = (size_t{width} * samples * bits + 7) / 8;
  if (line.size() < need) Fail(file, "bad scanline size");
  const uint8_t invert = photometric == PHOTOMETRIC_MINISWHITE ? 255 : 0;
  for (uint32_t y = 0; y < height; y++) {
    if (TIFFReadScanline(t, line.data(), y, 0) < 0) Fail(file, "cannot read scanline");
    uint8_t* row = rows.AddRow();
    const uint16_t* wide = reinterpret_cast<const uint16_t*>(line.data());  // host order from libtiff
    for (uint32_t x = 0; x < width; x++) {
      if (palette) {
        const size_t bit = size_t{x} * bits;
        row[x] = paletteGrey[(line[bit >> 3] >> (8 - bits - (bit & 7))) & ((1 << bits) - 1)];
      } else if (grey) {
        row[x] = static_cast<uint8_t>((bits == 8 ? line[x] : wide[x] >> 8) ^ invert);
      } else if (bits == 8) {
        row[x] = Luminance(line[3 * x], line[3 * x + 1], line[3 * x + 2]);
      } else {
        row[x] = Luminance(wide[3 * x] >> 8, wide[3 * x + 1] >> 8, wide[3 * x + 2] >> 8);
      }
    }
  }
  return true;
}

// Any other page, through libtiff's RGBA conversion in bands of rows (whole
// strips or tiles where they fit), in the file's own row order.
void ReadThroughRgba(TIFF* t, const MemoryFile& file, uint32_t width, uint32_t height, RowBuffer& rows) {
  char reason[1024] = "";
  if (!TIFFRGBAImageOK(t, reason)) throw ImageError(std::string("TIFF: ") + reason);
  TIFFRGBAImage image{};
  if (!TIFFRGBAImageBegin(&image, t, 1, reason)) throw ImageError(std::string("TIFF: ") + reason);
  struct End {
    TIFFRGBAImage* image;
    ~End() { TIFFRGBAImageEnd(image); }
  } end{&image};
  image.req_orientation = image.orientation;  // no flipping: done afterwards
  uint32_t band = 0;
  TIFFGetFieldDefaulted(t, TIFFIsTiled(t) ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, &band);
  band =
      std::clamp<uint32_t>(band, 1, std::max<uint32_t>(1, static_cast<uint32_t>(kMaxBandBytes / (4 * size_t{width}))));
  band = std::min(band, height);
  std::vector<uint32_t> rgba(size_t{width} * band);
  for (uint32_t top = 0; top < height; top += band) {
    const uint32_t n = std::min(band, height - top);
    image.row_offset = static_cast<int>(top);
    image.col_offset = 0;
    if (!TIFFRGBAImageGet(&image, rgba.data(), width, n)) Fail(file, "cannot decode image");
    for (uint32_t r = 0; r < n; r++) {
      uint8_t* row = rows.AddRow();
      const uint32_t* from = rgba.data() + size_t{r} * width;
      for (uint32_t x = 0; x < width; x++) {
        const uint32_t p = from[x];
        // libtiff hands out premultiplied alpha: over white adds the uncovered part.
        const unsigned grey = Luminance(TIFFGetR(p), TIFFGetG(p), TIFFGetB(p));
        row[x] = static_cast<uint8_t>(std::min(255u, grey + 255u - TIFFGetA(p)));
      }
    }
  }
}

}  // namespace

PageIndex IndexTiff(std::span<const uint8_t> bytes, int maxPages) {
  MemoryFile file;
  file.bytes = bytes;
  TiffPtr tif = Open(file, "r");
  PageIndex index;
  index.starts.push_back(TIFFCurrentDirOffset(tif.get()));
  while (TIFFReadDirectory(tif.get())) {
    if (index.starts.size() >= static_cast<size_t>(maxPages)) {
      index.more = true;
      break;
    }
    index.starts.push_back(TIFFCurrentDirOffset(tif.get()));
  }
  return index;
}

PageImage LoadTiffPage(std::span<const uint8_t> bytes, uint64_t directoryOffset, LoadContext& context) {
  MemoryFile file;
  file.bytes = bytes;
  TiffPtr tif = Open(file, "rh");
  TIFF* t = tif.get();
  if (!TIFFSetSubDirectory(t, directoryOffset)) Fail(file, "page missing");

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
  const Flips flips = OrientationFlips(orientation);

  PageImage out;
  const bool bilevel =
      bitsPerSample == 1 && samplesPerPixel == 1 &&
      (!hasPhotometric || photometric == PHOTOMETRIC_MINISWHITE || photometric == PHOTOMETRIC_MINISBLACK);
  out.kind = bilevel ? PageImage::Kind::Bits : PageImage::Kind::Grey;
  out.memory = context.Reserve(PageBytes(out.kind, width, height));
  const size_t rowBytes = bilevel ? DibStride(width) : width;
  RowBuffer rows(rowBytes, height);
  if (bilevel) {
    ReadBilevel(t, file, width, height, rows);
    // A missing photometric tag is read as min-is-white, as fax files mean it.
    BitRaster& r = out.bits;
    r = {static_cast<int>(width), static_cast<int>(height), photometric == PHOTOMETRIC_MINISBLACK ? 0 : 1, rows.Take()};
    std::vector<uint8_t> scratch;
    for (uint32_t y = 0; y < height; y++) {
      uint8_t* row = r.rows.data() + y * rowBytes;
      if (flips.horizontal) MirrorBits(row, r.width, scratch);
      ClearRowPadding(row, r.width, r.darkBit);
    }
    if (flips.vertical) ReverseRows(r.rows, rowBytes);
    return out;
  }
  if (!ReadGreyScanlines(t, file, width, height, rows)) ReadThroughRgba(t, file, width, height, rows);
  out.grey = {static_cast<int>(width), static_cast<int>(height), rows.Take()};
  if (flips.horizontal)
    for (uint32_t y = 0; y < height; y++)
      std::reverse(out.grey.grey.begin() + y * width, out.grey.grey.begin() + (y + 1) * width);
  if (flips.vertical) ReverseRows(out.grey.grey, width);
  return out;
}

}  // namespace pdf417read
