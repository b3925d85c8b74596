// PBM/PGM/PPM intake (P1 to P6, maxval up to 65535). A file may hold several
// images one after another, as the netpbm tools write them; each is a page.
#include <cctype>

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

// Decodes (out != nullptr) or just walks over one image's pixel data.
// Returns the position after it.
size_t ReadPixels(std::span<const uint8_t> b, const PnmHeader& h, Raster* out) {
  const size_t width = static_cast<size_t>(h.width), height = static_cast<size_t>(h.height);
  const int channels = h.kind == '3' || h.kind == '6' ? 3 : 1;
  auto scale = [&](uint64_t v) -> unsigned {
    if (v > h.maxValue) throw ImageError("PNM sample exceeds maxval");
    return static_cast<unsigned>((v * 255 + h.maxValue / 2) / h.maxValue);
  };
  if (out) {
    out->width = static_cast<int>(width);
    out->height = static_cast<int>(height);
    out->bilevel = h.kind == '1' || h.kind == '4';
    out->grey.assign(width * height, 255);
  }
  if (h.kind == '4') {
    const size_t stride = (width + 7) / 8;
    if ((b.size() - h.dataStart) / stride < height) throw ImageError("truncated PNM pixel data");
    if (out) {
      for (size_t y = 0; y < height; y++)
        for (size_t x = 0; x < width; x++)
          out->grey[y * width + x] = (b[h.dataStart + y * stride + x / 8] >> (7 - x % 8)) & 1 ? 0 : 255;
    }
    return h.dataStart + stride * height;
  }
  if (h.kind == '5' || h.kind == '6') {
    const size_t sampleBytes = h.maxValue < 256 ? 1 : 2;
    const size_t rowBytes = width * channels * sampleBytes;
    if ((b.size() - h.dataStart) / rowBytes < height) throw ImageError("truncated PNM pixel data");
    if (out) {
      const uint8_t* p = b.data() + h.dataStart;
      for (size_t i = 0; i < width * height; i++) {
        unsigned c[3];
        for (int k = 0; k < channels; k++, p += sampleBytes)
          c[k] = scale(sampleBytes == 1 ? p[0] : static_cast<unsigned>(p[0] << 8 | p[1]));
        out->grey[i] = channels == 1 ? static_cast<uint8_t>(c[0]) : Luminance(c[0], c[1], c[2]);
      }
    }
    return h.dataStart + rowBytes * height;
  }
  Scanner s(b, h.dataStart);
  for (size_t i = 0; i < width * height; i++) {
    uint8_t grey;
    if (h.kind == '1') {
      grey = s.Bit() ? 0 : 255;
    } else {
      unsigned c[3];
      for (int k = 0; k < channels; k++) c[k] = scale(s.Number("pixel data"));
      grey = channels == 1 ? static_cast<uint8_t>(c[0]) : Luminance(c[0], c[1], c[2]);
    }
    if (out) out->grey[i] = grey;
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

// Counts images whose header reads; a later image whose pixels are damaged
// still counts, so its page reports the damage while the others are read.
int CountPnmImages(std::span<const uint8_t> b) {
  size_t at = 0;
  int count = 0;
  for (;;) {
    PnmHeader h;
    try {
      h = ReadHeader(b, at);
    } catch (const ImageError&) {
      if (count == 0) throw;
      return count;
    }
    count++;
    size_t end;
    try {
      end = ReadPixels(b, h, nullptr);
    } catch (const ImageError&) {
      if (count == 1) throw;
      return count;
    }
    at = NextImage(b, end);
    if (at == 0) return count;
  }
}

Raster LoadPnmImage(std::span<const uint8_t> b, int image) {
  size_t at = 0;
  for (int i = 0; i < image; i++) {
    at = NextImage(b, ReadPixels(b, ReadHeader(b, at), nullptr));
    if (at == 0) throw ImageError("PNM image " + std::to_string(image + 1) + " missing");
  }
  Raster r;
  ReadPixels(b, ReadHeader(b, at), &r);
  return r;
}

}  // namespace pdf417read
