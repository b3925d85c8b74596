// JPEG intake through libjpeg-turbo. Grey, YCbCr and RGB images are decoded
// straight to grey (libjpeg's luminance); CMYK and YCCK through CMYK, with
// Adobe's inverted values recognised by the Adobe marker. Rows are stored as
// they decode. Data that ends early or breaks off at a marker is an error
// (libjpeg would make up the missing rows), and a multi-scan image, whose
// coefficients libjpeg holds whole, must carry at least one bit per 8 x 8
// block before that memory is asked for.
//
// libjpeg reports errors by longjmp, so the functions that may jump keep no
// C++ objects with destructors of their own.
#include <csetjmp>
#include <cstdio>
// jpeglib.h needs size_t and FILE declared first.
#include <jerror.h>
#include <jpeglib.h>

#include "image_file.h"

namespace pdf417read {
namespace {

struct Decoder {
  jpeg_decompress_struct info;
  jpeg_error_mgr errors;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void OnError(j_common_ptr info) {
  auto* d = reinterpret_cast<Decoder*>(info->client_data);
  (*info->err->format_message)(info, d->message);
  std::longjmp(d->jump, 1);
}

void OnMessage(j_common_ptr info, int level) {
  const int code = info->err->msg_code;
  if (level < 0 && (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER)) OnError(info);
}

bool ReadHeader(Decoder* d, const uint8_t* data, size_t size) {
  d->info.err = jpeg_std_error(&d->errors);
  d->errors.error_exit = OnError;
  d->errors.emit_message = OnMessage;
  if (setjmp(d->jump)) return false;
  jpeg_create_decompress(&d->info);
  d->info.client_data = d;
  jpeg_mem_src(&d->info, data, static_cast<unsigned long>(size));
  jpeg_read_header(&d->info, TRUE);
  return true;
}

bool StartDecompress(Decoder* d) {
  if (setjmp(d->jump)) return false;
  jpeg_start_decompress(&d->info);
  return true;
}

bool ReadScanline(Decoder* d, JSAMPROW row) {
  if (setjmp(d->jump)) return false;
  if (jpeg_read_scanlines(&d->info, &row, 1) == 1) return true;
  std::snprintf(d->message, sizeof d->message, "image data ended early");
  return false;
}

}  // namespace

PageImage LoadJpeg(std::span<const uint8_t> bytes, LoadContext& context) {
  Decoder d{};
  struct Destroy {
    Decoder* d;
    ~Destroy() { jpeg_destroy_decompress(&d->info); }
  } destroy{&d};
  auto fail = [&] { return ImageError(std::string("JPEG: ") + d.message); };
  if (!ReadHeader(&d, bytes.data(), bytes.size())) throw fail();
  jpeg_decompress_struct& info = d.info;
  CheckPageSize(info.image_width, info.image_height);

  const bool cmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
  if (cmyk) info.out_color_space = JCS_CMYK;
  else if (info.jpeg_color_space == JCS_GRAYSCALE || info.jpeg_color_space == JCS_YCbCr ||
           info.jpeg_color_space == JCS_RGB)
    info.out_color_space = JCS_GRAYSCALE;
  else throw ImageError("JPEG: unsupported colour space");

  uint64_t coefficientBytes = 0;
  if (jpeg_has_multiple_scans(&info)) {
    uint64_t blocks = 0;
    for (int c = 0; c < info.num_components; c++)
      blocks += uint64_t{info.comp_info[c].width_in_blocks} * info.comp_info[c].height_in_blocks;
    if (blocks > uint64_t{8} * bytes.size()) throw ImageError("JPEG: file too short for its image size");
    coefficientBytes = blocks * DCTSIZE2 * sizeof(JCOEF);
  }
  PageImage out;
  out.kind = PageImage::Kind::Grey;
  out.memory = context.Reserve(PageBytes(out.kind, info.image_width, info.image_height, coefficientBytes));
  if (!StartDecompress(&d)) throw fail();
  const size_t width = info.output_width, height = info.output_height;
  if (info.output_components != (cmyk ? 4 : 1)) throw ImageError("JPEG: unexpected component count");

  RowBuffer rows(width, height);
  std::vector<uint8_t> inks(cmyk ? 4 * width : 0);
  // Adobe's CMYK JPEGs store 255 for no ink.
  const bool inverted = info.saw_Adobe_marker;
  for (size_t y = 0; y < height; y++) {
    uint8_t* row = rows.AddRow();
    if (!ReadScanline(&d, cmyk ? inks.data() : row)) throw fail();
    for (size_t x = 0; cmyk && x < width; x++) {
      unsigned v[4];
      for (size_t k = 0; k < 4; k++) v[k] = inverted ? inks[4 * x + k] : 255u - inks[4 * x + k];
      row[x] = Luminance(v[0] * v[3] / 255, v[1] * v[3] / 255, v[2] * v[3] / 255);
    }
  }
  out.grey = {static_cast<int>(width), static_cast<int>(height), rows.Take()};
  return out;
}

}  // namespace pdf417read
