// PNG intake through libpng. libpng reports errors by longjmp, so the two
// functions that may jump (header and rows) keep no C++ objects with
// destructors of their own; everything they fill is allocated by the caller.
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

struct PngInfo {
  png_uint_32 width, height;
  int bitDepth, colourType;
};

// Reads the header and sets up the expansion to 8-bit RGBA. Returns false
// (message in src) when libpng reports an error.
bool ReadHeader(png_structp png, png_infop info, PngInfo* out) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_user_limits(png, static_cast<png_uint_32>(kMaxSide), static_cast<png_uint_32>(kMaxSide));
  png_read_info(png, info);
  out->width = png_get_image_width(png, info);
  out->height = png_get_image_height(png, info);
  out->bitDepth = png_get_bit_depth(png, info);
  out->colourType = png_get_color_type(png, info);
  png_set_expand(png);  // palette to RGB, grey below 8 bits to 8 bits, tRNS to alpha
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);  // no effect when alpha is there
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != static_cast<size_t>(out->width) * 4)
    png_error(png, "unexpected PNG row layout");
  return true;
}

bool ReadRows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

}  // namespace

Raster LoadPng(std::span<const uint8_t> bytes) {
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

  PngInfo header{};
  if (!ReadHeader(png, info, &header)) throw ImageError(std::string("PNG: ") + src.message);
  CheckPageSize(header.width, header.height);
  const size_t width = header.width, height = header.height;
  std::vector<uint8_t> rgba(width * height * 4);
  std::vector<png_bytep> rows(height);
  for (size_t y = 0; y < height; y++) rows[y] = rgba.data() + y * width * 4;
  if (!ReadRows(png, rows.data())) throw ImageError(std::string("PNG: ") + src.message);

  Raster r;
  r.width = static_cast<int>(width);
  r.height = static_cast<int>(height);
  r.bilevel = header.bitDepth == 1 && header.colourType == PNG_COLOR_TYPE_GRAY;
  r.grey.resize(width * height);
  for (size_t i = 0; i < width * height; i++) {
    const uint8_t* p = &rgba[4 * i];
    r.grey[i] = OverWhite(Luminance(p[0], p[1], p[2]), p[3]);
  }
  return r;
}

}  // namespace pdf417read
