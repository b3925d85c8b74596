// The library's one picture format: one bit per pixel, rows top to bottom,
// the most significant bit of a byte its leftmost pixel. In a page image a
// dark pixel is a 0 bit; in a candidate region (after InvertBitImage) a dark
// pixel is a 1 bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace pdf417 {

struct BitImage {
  uint8_t* pixels;   // owned by the record
  int32_t size;      // stride * height: bytes of the buffer that hold rows
  int32_t width;     // pixels per row
  int32_t height;    // rows
  int32_t stride;    // bytes per row
  int32_t rowCount;  // equal to height
};

// Largest pixel buffer the intake accepts (stride * height).
inline constexpr int64_t kMaxPixelBytes = int64_t{1} << 30;

// The pixel rows of an accepted packed 1-bit DIB, read in place.
struct DibRows {
  const uint8_t* rows;  // the stored rows, bottom row first, stride bytes each
  int32_t width;
  int32_t height;
  int32_t stride;   // ((width + 31) / 32) * 4
  bool complement;  // palette entry 0 is light: a dark pixel is a 1 bit in the DIB
};

// Checks a packed 1-bit DIB of `length` bytes (layout in pdf417.h) and finds
// its rows. Returns false when the bitmap is refused: bit count not 1, zero
// width or height, pixel rows over kMaxPixelBytes, a header size field below
// 40, or a block too short for the header, the two palette entries after it
// and stride * height bytes of rows.
bool FindDibRows(const uint8_t* dib, size_t length, DibRows* out);

// The page image of the DIB's rows (dark = 0 bit whatever the palette, rows
// top to bottom); nullptr when memory runs out.
BitImage* LoadBitImage(const DibRows& dib);

// FindDibRows and LoadBitImage in one: nullptr when refused or out of memory.
BitImage* LoadBitImage(const uint8_t* dib, size_t length);

// New image with the same geometry and a zero-filled buffer; nullptr when
// memory runs out.
BitImage* CopyBitImageHeader(const BitImage& image);

// Complements the first size bytes of the buffer.
void InvertBitImage(BitImage& image);

// Releases the pixel buffer (the record stays). nullptr is accepted.
void FreeBitImagePixels(BitImage* image);

// Releases the pixel buffer and the record. nullptr is accepted.
void FreeBitImage(BitImage* image);

struct BitImageDeleter {
  void operator()(BitImage* image) const { FreeBitImage(image); }
};
using BitImagePtr = std::unique_ptr<BitImage, BitImageDeleter>;

// Pixel value (0 or 1) at (x, y); the caller keeps (x, y) inside the image.
inline int PixelAt(const BitImage& image, int32_t x, int32_t y) {
  const size_t at = static_cast<size_t>(y) * static_cast<size_t>(image.stride) + static_cast<size_t>(x >> 3);
  return (image.pixels[at] >> (7 - (x & 7))) & 1;
}

}  // namespace pdf417
