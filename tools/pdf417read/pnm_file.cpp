// PBM/PGM/PPM intake (P1 to P6, maxval up to 65535). A file may hold several
// images one after another, as the netpbm tools write them; each is a page.
// Their offsets are listed once when the file is opened. PBM pixels go
// straight into a 1-bit raster (1 is black); nothing is allocated before the
// file is seen to hold at least as many bytes as the pixels need.
#include <cctype>
#include <cstring>

#include "image_file.h"

namespace pdf417read {
namespace {

struct PnmHeader {
  char kind = 0;  // '1'..'6'
  int64_t width = 0, height = 0;
  unsigned maxValue = 1;
  size_t dataStart = 0;
};

class Scanner {
 public:
  Scanner(std::span<const uint8_t> bytes, size_t position) : b_(bytes), pos_(position) {}
  size_t position() const { return pos_; }

  // Skips whitespace and comments (from '#' to the end of the line).
  void SkipSpace() {
    while (pos_ < b_.size()) {
      if (b_[pos_] == '#') {
        while (pos_ < b_.size() && b_[pos_] != '\n' && b_[pos_] != '\r') pos_++;
      } else if (std::isspace(b_[pos_])) {
        pos_++;
      } else {
        break;
      }
    }
  }

  uint64_t Number(const char* what) {
    SkipSpace();
    if (pos_ >= b_.size()) throw ImageError(std::string("truncated PNM ") + what);
    if (!std::isdigit(b_[pos_])) throw ImageError(std::string("bad PNM ") + what);
    uint64_t v = 0;
    while (pos_ < b_.size() && std::isdigit(b_[pos_])) {
      v = std::min<uint64_t>(v * 10 + (b_[pos_] - '0'), uint64_t{1} << 40);
      pos_++;
    }
    return v;
  }

  // A P1 pixel: one '0' or '1', with or without whitespace between pixels.
  int Bit() {
    SkipSpace();
    if (pos_ >= b_.size()) throw ImageError("truncated PNM pixel data");
    const uint8_t c = b_[pos_++];
    if (c != '0' && c != '1') throw ImageError("bad PBM pixel");
    return c - '0';
  }

 private:
  std::span<const uint8_t> b_;
  size_t pos_;
};

PnmHeader ReadHeader(std::span<const uint8_t> b, size_t at) {
  if (b.size() - at < 2 || b[at] != 'P' || b[at + 1] < '1' || b[at + 1] > '6') throw ImageError("not a PNM image");
  PnmHeader h;
  h.kind = static_cast<char>(b[at + 1]);
  Scanner s(b, at + 2);
  h.width = static_cast<int64_t>(s.Number("width"));
  h.height = static_cast<int64_t>(s.Number("height"));
  if (h.kind != '1' && h.kind != '4') {
    const uint64_t maxValue = s.Number("maxval");
    if (maxValue < 1 || maxValue > 65535) throw ImageError("bad PNM maxval " + std::to_string(maxValue));
    h.maxValue = static_cast<unsigned>(maxValue);
  }
  CheckPageSize(h.width, h.height);
  h.dataStart = s.position();
  if (h.kind >= '4') {
    // Binary data follows exactly one whitespace character.
    if (h.dataStart >= b.size() || !std::isspace(b[h.dataStart])) throw ImageError("truncated PNM header");
    h.dataStart++;
  }
  return h;
}

// The fewest bytes the pixel data can take: exact for the binary kinds, one
// character per PBM pixel and a digit and a separator per sample otherwise.
uint64_t LeastDataBytes(const PnmHeader& h) {
  const uint64_t pixels = static_cast<uint64_t>(h.width) * static_cast<uint64_t>(h.height);
  const uint64_t channels = h.kind == '3' || h.kind == '6' ? 3 : 1, sampleBytes = h.maxValue < 256 ? 1 : 2;
  switch (h.kind) {
    case '1': return pixels;
    case '4': return (static_cast<uint64_t>(h.width) + 7) / 8 * static_cast<uint64_t>(h.height);
    case '5':
    case '6': return pixels * channels * sampleBytes;
    default: return 2 * pixels * channels - 1;
  }
}

void CheckDataSize(std::span<const uint8_t> b, const PnmHeader& h) {
  if (b.size() - h.dataStart < LeastDataBytes(h)) throw ImageError("truncated PNM pixel data");
}

// Decodes (out != nullptr) or just walks over one image's pixel data.
// Returns the position after it.
size_t ReadPixels(std::span<const uint8_t> b, const PnmHeader& h, PageImage* out) {
  CheckDataSize(b, h);
  const size_t width = static_cast<size_t>(h.width), height = static_cast<size_t>(h.height);
  if (h.kind == '1' || h.kind == '4') {
    const size_t stride = DibStride(static_cast<int64_t>(width)), used = (width + 7) / 8;
    BitRaster* r = out ? &out->bits : nullptr;
    if (r) *r = {static_cast<int>(width), static_cast<int>(height), 1, std::vector<uint8_t>(stride * height)};
    if (h.kind == '4') {
      for (size_t y = 0; r && y < height; y++) {
        std::memcpy(r->rows.data() + y * stride, b.data() + h.dataStart + y * used, used);
        ClearRowPadding(r->rows.data() + y * stride, r->width, 1);
      }
      return h.dataStart + used * height;
    }
    Scanner s(b, h.dataStart);
    for (size_t y = 0; y < height; y++) {
      uint8_t* row = r ? r->rows.data() + y * stride : nullptr;
      for (size_t x = 0; x < width; x++)
        if (s.Bit() && row) row[x >> 3] |= static_cast<uint8_t>(0x80u >> (x & 7));
    }
    return s.position();
  }

  const int channels = h.kind == '3' || h.kind == '6' ? 3 : 1;
  auto scale = [&](uint64_t v) -> unsigned {
    if (v > h.maxValue) throw ImageError("PNM sample exceeds maxval");
    return static_cast<unsigned>((v * 255 + h.maxValue / 2) / h.maxValue);
  };
  GreyRaster* r = out ? &out->grey : nullptr;
  if (r) *r = {static_cast<int>(width), static_cast<int>(height), std::vector<uint8_t>(width * height)};
  if (h.kind == '5' || h.kind == '6') {
    const size_t sampleBytes = h.maxValue < 256 ? 1 : 2;
    if (r) {
      const uint8_t* p = b.data() + h.dataStart;
      for (size_t i = 0; i < width * height; i++) {
        unsigned c[3];
        for (int k = 0; k < channels; k++, p += sampleBytes)
          c[k] = scale(sampleBytes == 1 ? p[0] : static_cast<unsigned>(p[0] << 8 | p[1]));
        r->grey[i] = channels == 1 ? static_cast<uint8_t>(c[0]) : Luminance(c[0], c[1], c[2]);
      }
    }
    return h.dataStart + width * height * static_cast<size_t>(channels) * sampleBytes;
  }
  Scanner s(b, h.dataStart);
  for (size_t i = 0; i < width * height; i++) {
    unsigned c[3];
    for (int k = 0; k < channels; k++) c[k] = scale(s.Number("pixel data"));
    if (r) r->grey[i] = channels == 1 ? static_cast<uint8_t>(c[0]) : Luminance(c[0], c[1], c[2]);
  }
  return s.position();
}

// Start of the next image after `end`, or 0 when none follows.
size_t NextImage(std::span<const uint8_t> b, size_t end) {
  while (end < b.size() && std::isspace(b[end])) end++;
  if (b.size() - end >= 2 && b[end] == 'P' && b[end + 1] >= '1' && b[end + 1] <= '6') return end;
  return 0;
}

}  // namespace

// Lists images whose header reads; a later image whose pixels are damaged
// is still listed, so its page reports the damage while the others are read.
PageIndex IndexPnm(std::span<const uint8_t> b, int maxPages) {
  PageIndex index;
  size_t at = 0;
  for (;;) {
    PnmHeader h;
    try {
      h = ReadHeader(b, at);
    } catch (const ImageError&) {
      if (index.starts.empty()) throw;
      return index;
    }
    if (index.starts.size() >= static_cast<size_t>(maxPages)) {
      index.more = true;
      return index;
    }
    index.starts.push_back(at);
    size_t end;
    try {
      end = ReadPixels(b, h, nullptr);
    } catch (const ImageError&) {
      if (index.starts.size() == 1) throw;
      return index;
    }
    at = NextImage(b, end);
    if (at == 0) return index;
  }
}

PageImage LoadPnmImage(std::span<const uint8_t> b, uint64_t start, LoadContext& context) {
  const PnmHeader h = ReadHeader(b, static_cast<size_t>(start));
  CheckDataSize(b, h);
  PageImage out;
  out.kind = h.kind == '1' || h.kind == '4' ? PageImage::Kind::Bits : PageImage::Kind::Grey;
  out.memory = context.Reserve(PageBytes(out.kind, h.width, h.height));
  ReadPixels(b, h, &out);
  return out;
}

}  // namespace pdf417read
