// BMP intake. A bottom-up 1-bit BMP with a 40-byte header and a two-entry
// colour table already is the DIB the library reads, so it is handed over
// as it stands (the 14-byte file header stripped). Every other 1-bit BMP -
// other header sizes (12, 52, 56, 108, 124 bytes), other colour table sizes,
// top-down rows, a colour table whose darker entry the library would mistake
// - is copied row by row into a 1-bit raster; 4/8/16/24/32 bits per pixel are
// decoded into a grey raster. The pixel data must all be in the file before
// anything is allocated.
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "image_file.h"

namespace pdf417read {
namespace {

constexpr size_t kFileHeaderSize = 14;
constexpr size_t kInfoHeaderSize = 40;
constexpr uint32_t kBiRgb = 0, kBiBitfields = 3, kBiAlphaBitfields = 6;

uint16_t U16(std::span<const uint8_t> b, size_t at) { return static_cast<uint16_t>(b[at] | b[at + 1] << 8); }
uint32_t U32(std::span<const uint8_t> b, size_t at) {
  return static_cast<uint32_t>(b[at]) | static_cast<uint32_t>(b[at + 1]) << 8 | static_cast<uint32_t>(b[at + 2]) << 16 |
         static_cast<uint32_t>(b[at + 3]) << 24;
}

// One colour channel described by a bit mask (16- and 32-bit pixels).
struct Channel {
  uint32_t mask = 0;
  int shift = 0;
  uint32_t max = 0;
};

Channel MakeChannel(uint32_t mask) {
  Channel c;
  c.mask = mask;
  if (mask == 0) return c;
  c.shift = std::countr_zero(mask);
  c.max = mask >> c.shift;
  return c;
}

unsigned Extract(const Channel& c, uint32_t pixel) {
  if (c.max == 0) return 0;
  return static_cast<unsigned>((static_cast<uint64_t>((pixel & c.mask) >> c.shift) * 255 + c.max / 2) / c.max);
}

struct BmpHeader {
  uint32_t pixelOffset = 0;
  uint32_t headerSize = 0;
  int64_t width = 0, height = 0;  // signed as stored
  unsigned bitCount = 0;
  uint32_t compression = kBiRgb;
  uint32_t coloursUsed = 0;
};

BmpHeader ReadHeader(std::span<const uint8_t> b) {
  if (b.size() < kFileHeaderSize + 4) throw ImageError("truncated BMP header");
  BmpHeader h;
  h.pixelOffset = U32(b, 10);
  h.headerSize = U32(b, 14);
  switch (h.headerSize) {
    case 12:
    case 40:
    case 52:
    case 56:
    case 108:
    case 124: break;
    default: throw ImageError("unsupported BMP header size " + std::to_string(h.headerSize));
  }
  if (b.size() < kFileHeaderSize + h.headerSize) throw ImageError("truncated BMP header");
  if (h.headerSize == 12) {  // OS/2 and Windows 2 core header: 16-bit unsigned sizes
    h.width = U16(b, 18);
    h.height = U16(b, 20);
    h.bitCount = U16(b, 24);
  } else {
    h.width = static_cast<int32_t>(U32(b, 18));
    h.height = static_cast<int32_t>(U32(b, 22));
    h.bitCount = U16(b, 28);
    h.compression = U32(b, 30);
    h.coloursUsed = U32(b, 46);
  }
  return h;
}

}  // namespace

PageImage LoadBmp(std::span<const uint8_t> b, LoadContext& context) {
  const BmpHeader h = ReadHeader(b);
  const int64_t width = std::llabs(h.width), height = std::llabs(h.height);
  const bool topDown = h.height < 0;
  CheckPageSize(width, height);
  const unsigned bpp = h.bitCount;
  if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32)
    throw ImageError("unsupported BMP bit depth " + std::to_string(bpp));
  const bool bitfields = h.compression == kBiBitfields || h.compression == kBiAlphaBitfields;
  if (h.compression != kBiRgb && !(bitfields && (bpp == 16 || bpp == 32)))
    throw ImageError("compressed BMP (compression " + std::to_string(h.compression) + ") not supported");

  // Masks of 16/32-bit pixels; a 40-byte header keeps them after itself.
  size_t tableStart = kFileHeaderSize + h.headerSize;
  Channel red, green, blue;
  if (bitfields) {
    const size_t at = kFileHeaderSize + kInfoHeaderSize;
    if (b.size() < at + 12) throw ImageError("truncated BMP header");
    red = MakeChannel(U32(b, at));
    green = MakeChannel(U32(b, at + 4));
    blue = MakeChannel(U32(b, at + 8));
    if (h.headerSize == kInfoHeaderSize) tableStart += h.compression == kBiAlphaBitfields ? 16 : 12;
  } else if (bpp == 16) {
    red = MakeChannel(0x7C00), green = MakeChannel(0x03E0), blue = MakeChannel(0x001F);
  } else {
    red = MakeChannel(0xFF0000), green = MakeChannel(0xFF00), blue = MakeChannel(0xFF);
  }

  // Colour table: as many entries as declared (all 2^bpp when 0), but never
  // more than fit between the headers and the pixels.
  std::array<uint8_t, 256> tableGrey{};  // indices past the table read as black
  std::array<uint8_t, 3> entry0{};       // blue, green, red of entry 0
  size_t tableSize = 0;
  if (bpp <= 8) {
    const size_t entrySize = h.headerSize == 12 ? 3 : 4;
    tableSize = h.coloursUsed != 0 && h.coloursUsed < (1u << bpp) ? h.coloursUsed : (1u << bpp);
    const size_t room = h.pixelOffset > tableStart ? (h.pixelOffset - tableStart) / entrySize : 0;
    tableSize = std::min(tableSize, room);
    if (b.size() < tableStart + tableSize * entrySize) throw ImageError("truncated BMP colour table");
    if (tableSize == 0) throw ImageError("BMP has no colour table");
    for (size_t i = 0; i < tableSize; i++) {
      const size_t at = tableStart + i * entrySize;
      tableGrey[i] = Luminance(b[at + 2], b[at + 1], b[at]);
    }
    entry0 = {b[tableStart], b[tableStart + 1], b[tableStart + 2]};
  }

  const int64_t stride = (width * bpp + 31) / 32 * 4;
  if (h.pixelOffset < kFileHeaderSize + h.headerSize) throw ImageError("bad BMP pixel data offset");
  if (static_cast<int64_t>(b.size()) - h.pixelOffset < stride * height) throw ImageError("truncated BMP pixel data");

  PageImage out;
  if (bpp == 1) {
    // The library reads the blue byte of entry 0 alone: 0 means colour 0 is
    // dark. Hand the bytes over only when that agrees with the table.
    const bool zeroDarker = tableSize < 2 || tableGrey[0] <= tableGrey[1];
    const bool libraryZeroDark = entry0[0] == 0;
    if (h.headerSize == kInfoHeaderSize && h.compression == kBiRgb && h.width > 0 && !topDown &&
        h.pixelOffset == kFileHeaderSize + kInfoHeaderSize + 8 && tableSize == 2 && zeroDarker == libraryZeroDark) {
      out.kind = PageImage::Kind::StoredDib;
      out.memory = context.Reserve(PageBytes(out.kind, width, height));
      out.dib = b.subspan(kFileHeaderSize, kInfoHeaderSize + 8 + static_cast<size_t>(stride * height));
      return out;
    }
    // Two levels: the darker entry dark; entries of equal brightness (or a
    // one-entry table) go by their own brightness.
    bool dark0 = tableGrey[0] < 128, dark1 = tableGrey[1] < 128;
    if (tableSize == 2 && tableGrey[0] != tableGrey[1]) dark0 = tableGrey[0] < tableGrey[1], dark1 = !dark0;
    out.kind = PageImage::Kind::Bits;
    out.memory = context.Reserve(PageBytes(out.kind, width, height));
    BitRaster& r = out.bits;
    r.width = static_cast<int>(width);
    r.height = static_cast<int>(height);
    r.darkBit = dark1 && !dark0 ? 1 : 0;
    r.rows.resize(static_cast<size_t>(stride * height));
    for (int64_t y = 0; y < height; y++) {
      uint8_t* dst = r.rows.data() + y * stride;
      if (dark0 == dark1)  // one colour only
        std::memset(dst, dark0 ? 0x00 : 0xFF, static_cast<size_t>(stride));
      else
        std::memcpy(dst, b.data() + h.pixelOffset + (topDown ? y : height - 1 - y) * stride,
                    static_cast<size_t>(stride));
      ClearRowPadding(dst, r.width, r.darkBit);
    }
    return out;
  }

  out.kind = PageImage::Kind::Grey;
  out.memory = context.Reserve(PageBytes(out.kind, width, height));
  GreyRaster& r = out.grey;
  r.width = static_cast<int>(width);
  r.height = static_cast<int>(height);
  r.grey.resize(static_cast<size_t>(width * height));
  for (int64_t y = 0; y < height; y++) {
    const uint8_t* src = b.data() + h.pixelOffset + (topDown ? y : height - 1 - y) * stride;
    uint8_t* dst = r.grey.data() + y * width;
    for (int64_t x = 0; x < width; x++) {
      switch (bpp) {
        case 4: dst[x] = tableGrey[(src[x >> 1] >> (x & 1 ? 0 : 4)) & 15]; break;
        case 8: dst[x] = tableGrey[src[x]]; break;
        case 24: dst[x] = Luminance(src[3 * x + 2], src[3 * x + 1], src[3 * x]); break;
        default: {  // 16 and 32 bits through the channel masks; alpha is ignored
          const uint32_t px =
              bpp == 16 ? static_cast<uint32_t>(src[2 * x] | src[2 * x + 1] << 8)
                        : static_cast<uint32_t>(src[4 * x]) | static_cast<uint32_t>(src[4 * x + 1]) << 8 |
                              static_cast<uint32_t>(src[4 * x + 2]) << 16 | static_cast<uint32_t>(src[4 * x + 3]) << 24;
          dst[x] = Luminance(Extract(red, px), Extract(green, px), Extract(blue, px));
        }
      }
    }
  }
  return out;
}

}  // namespace pdf417read
