// PNG intake through libpng. Two-level images (1-bit grey, 1-bit palette of
// two colours, no transparency) are read as packed rows into a 1-bit
// raster; grey images as one byte per pixel; everything else row by row as
// RGBA, laid over white and turned into grey. Rows are stored as they decode
// (an interlaced image pass by pass, then put together), so a header that
// promises more rows than the data holds costs only the rows that came.
//
// libpng reports errors by longjmp, so the functions that may jump keep no
// C++ objects with destructors of their own.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "image_file.h"

namespace pdf417read {
namespace {

struct PngSource {
  const uint8_t* data;
  size_t size;
  size_t position;
  char message[200];
};

void ReadFromMemory(png_structp png, png_bytep out, png_size_t count) {
  auto* src = static_cast<PngSource*>(png_get_io_ptr(png));
  if (src->size - src->position < count) png_error(png, "truncated PNG data");
  std::memcpy(out, src->data + src->position, count);
  src->position += count;
}

void OnError(png_structp png, png_const_charp message) {
  auto* src = static_cast<PngSource*>(png_get_error_ptr(png));
  std::snprintf(src->message, sizeof src->message, "%s", message);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

enum class Mode { Bits, Grey, Rgba };

struct PngInfo {
  png_uint_32 width, height;
  bool interlaced;
  Mode mode;
  int darkBit;       // Bits: the bit value of a dark pixel
  size_t libpngRow;  // bytes libpng writes for a full-width row
};

// Reads the header and chooses how rows are delivered. Returns false
// (message in src) when libpng reports an error.
bool ReadHeader(png_structp png, png_infop info, PngInfo* out) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_user_limits(png, static_cast<png_uint_32>(kMaxSide), static_cast<png_uint_32>(kMaxSide));
  png_read_info(png, info);
  out->width = png_get_image_width(png, info);
  out->height = png_get_image_height(png, info);
  out->interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
  const int depth = png_get_bit_depth(png, info), colour = png_get_color_type(png, info);
  const bool transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  png_colorp palette = nullptr;
  int entries = 0;
  if (colour == PNG_COLOR_TYPE_PALETTE) png_get_PLTE(png, info, &palette, &entries);
  uint8_t paletteGrey[2] = {0, 255};
  for (int i = 0; i < 2 && i < entries; i++)
    paletteGrey[i] = Luminance(palette[i].red, palette[i].green, palette[i].blue);

  out->darkBit = paletteGrey[0] < paletteGrey[1] ? 0 : 1;
  if (depth == 1 && !transparency &&
      (colour == PNG_COLOR_TYPE_GRAY || (entries >= 2 && paletteGrey[0] != paletteGrey[1]))) {
    out->mode = Mode::Bits;
  } else if (colour == PNG_COLOR_TYPE_GRAY && !transparency) {
    out->mode = Mode::Grey;
    png_set_expand_gray_1_2_4_to_8(png);
    png_set_scale_16(png);
  } else {
    out->mode = Mode::Rgba;
    png_set_expand(png);  // palette to RGB, grey below 8 bits to 8 bits, tRNS to alpha
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);  // no effect when alpha is there
  }
  png_read_update_info(png, info);
  out->libpngRow = png_get_rowbytes(png, info);
  const size_t expected = out->mode == Mode::Bits   ? (out->width + 7) / 8
                          : out->mode == Mode::Grey ? out->width
                                                    : size_t{4} * out->width;
  if (out->libpngRow != expected) png_error(png, "unexpected PNG row layout");
  return true;
}

bool ReadRow(png_structp png, uint8_t* row) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_row(png, row, nullptr);
  return true;
}

// Adam7 passes: 7 for an interlaced image, else one pass of the whole image.
struct Pass {
  png_uint_32 rows, columns;
};
// libpng's pass macros add int terms to the png_uint_32 size.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-conversion"
Pass PassSize(const PngInfo& h, int pass) {
  if (!h.interlaced) return {h.height, h.width};
  return {PNG_PASS_ROWS(h.height, pass), PNG_PASS_COLS(h.width, pass)};
}
#pragma GCC diagnostic pop

bool Bit(const uint8_t* row, size_t x) { return (row[x >> 3] >> (7 - (x & 7))) & 1; }
void SetBit(uint8_t* row, size_t x, bool on) {
  const uint8_t mask = static_cast<uint8_t>(0x80u >> (x & 7));
  row[x >> 3] = static_cast<uint8_t>(on ? row[x >> 3] | mask : row[x >> 3] & ~mask);
}

}  // namespace

PageImage LoadPng(std::span<const uint8_t> bytes, LoadContext& context) {
  PngSource src{bytes.data(), bytes.size(), 0, {}};
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &src, OnError, OnWarning);
  if (!png) throw std::bad_alloc();
  png_infop info = png_create_info_struct(png);
  struct Release {
    png_structp* png;
    png_infop* info;
    ~Release() { png_destroy_read_struct(png, info, nullptr); }
  } release{&png, &info};
  if (!info) throw std::bad_alloc();
  png_set_read_fn(png, &src, ReadFromMemory);
  auto fail = [&] { return ImageError(std::string("PNG: ") + src.message); };

  PngInfo h{};
  if (!ReadHeader(png, info, &h)) throw fail();
  CheckPageSize(h.width, h.height);
  const size_t width = h.width, height = h.height;
  // The rows kept: packed bits (DIB stride) or one grey byte per pixel.
  const bool bits = h.mode == Mode::Bits;
  const size_t slot = bits ? DibStride(static_cast<int64_t>(width)) : width;
  size_t passRows = 0;
  const int passes = h.interlaced ? 7 : 1;
  for (int p = 0; p < passes; p++) passRows += PassSize(h, p).columns ? PassSize(h, p).rows : 0;

  PageImage out;
  out.kind = bits ? PageImage::Kind::Bits : PageImage::Kind::Grey;
  out.memory = context.Reserve(PageBytes(out.kind, h.width, h.height, h.interlaced ? passRows * slot : 0));
  std::vector<uint8_t> in(h.libpngRow);
  RowBuffer stored(slot, passRows);
  for (int p = 0; p < passes; p++) {
    const Pass pass = PassSize(h, p);
    if (pass.columns == 0) continue;  // libpng skips empty passes
    for (png_uint_32 y = 0; y < pass.rows; y++) {
      if (!ReadRow(png, in.data())) throw fail();
      uint8_t* row = stored.AddRow();
      if (h.mode == Mode::Rgba) {
        for (size_t x = 0; x < pass.columns; x++) {
          const uint8_t* px = &in[4 * x];
          row[x] = OverWhite(Luminance(px[0], px[1], px[2]), px[3]);
        }
      } else {
        std::memcpy(row, in.data(), bits ? (pass.columns + 7) / 8 : pass.columns);
      }
    }
  }

  std::vector<uint8_t> rows = stored.Take();
  if (h.interlaced) {  // put the passes' pixels in their places
    std::vector<uint8_t> whole(slot * height);
    const uint8_t* from = rows.data();
    for (int p = 0; p < passes; p++) {
      const Pass pass = PassSize(h, p);
      if (pass.columns == 0) continue;
      for (png_uint_32 y = 0; y < pass.rows; y++, from += slot) {
        uint8_t* to = whole.data() + PNG_ROW_FROM_PASS_ROW(y, p) * slot;
        for (png_uint_32 x = 0; x < pass.columns; x++) {
          const png_uint_32 column = PNG_COL_FROM_PASS_COL(x, p);
          if (bits) SetBit(to, column, Bit(from, x));
          else to[column] = from[x];
        }
      }
    }
    rows.swap(whole);
  }
  if (bits) {
    out.bits = {static_cast<int>(width), static_cast<int>(height), h.darkBit, std::move(rows)};
    for (size_t y = 0; y < height; y++) ClearRowPadding(out.bits.rows.data() + y * slot, out.bits.width, h.darkBit);
  } else {
    out.grey = {static_cast<int>(width), static_cast<int>(height), std::move(rows)};
  }
  return out;
}

}  // namespace pdf417read
