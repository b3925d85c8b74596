#include "factory/image_files.h"

#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
// jpeglib.h needs FILE declared first.
#include <jpeglib.h>

namespace pdf417::testing {
namespace {

void Put(std::vector<uint8_t>& b, size_t at, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; i++) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// Ink or paper as a grey level, or as one channel of its colour.
int Colour(bool dark, int channel, int channels) {
  return channels == 3 ? (dark ? kInk : kPaper)[channel] : dark ? kInkGrey : kPaperGrey;
}

// The page's rows, top first, each starting on a byte: `channels` samples of
// `depth` bits (1 to 8, or 16 big-endian) a pixel, sample(dark, channel).
std::vector<uint8_t> PackedRows(const Page& page, int channels, int depth,
                                const std::function<int(bool, int)>& sample) {
  const size_t rowBits = (static_cast<size_t>(page.width) * channels * depth + 7) / 8 * 8;
  std::vector<uint8_t> rows(rowBits / 8 * page.height);
  for (int y = 0; y < page.height; y++)
    for (int x = 0; x < page.width; x++)
      for (int k = 0; k < channels; k++) {
        const int s = sample(page.at(x, y), k);
        const size_t at = y * rowBits + (static_cast<size_t>(x) * channels + k) * depth;
        if (depth == 16) rows[at / 8] = static_cast<uint8_t>(s >> 8), rows[at / 8 + 1] = static_cast<uint8_t>(s);
        if (depth < 16) rows[at / 8] |= static_cast<uint8_t>(s << (8 - depth - at % 8));
      }
  return rows;
}

// libpng reports errors by longjmp: no C++ object lives in this function.
bool WritePngRows(FILE* f, const Page& page, int depth, int type, bool interlaced, png_bytepp rows) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  const png_color palette[2] = {{kPaper[0], kPaper[1], kPaper[2]}, {kInk[0], kInk[1], kInk[2]}};
  png_init_io(png, f);
  png_set_IHDR(png, info, page.width, page.height, depth, type, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, palette, 2);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

std::vector<uint8_t> MakeBmp(const Page& page, const BmpVariant& v) {
  const int entries = v.bitCount == 1 ? 2 : v.bitCount == 8 ? 256 : 0, entrySize = v.headerSize == 12 ? 3 : 4;
  const size_t stride = (static_cast<size_t>(page.width) * v.bitCount + 31) / 32 * 4;
  const size_t offset = 14 + v.headerSize + entries * entrySize;
  std::vector<uint8_t> b(offset + stride * page.height, 0);
  b[0] = 'B', b[1] = 'M';
  Put(b, 2, static_cast<uint32_t>(b.size()), 4);
  Put(b, 10, static_cast<uint32_t>(offset), 4);
  Put(b, 14, v.headerSize, 4);
  if (v.headerSize == 12) {
    Put(b, 18, page.width, 2), Put(b, 20, page.height, 2), Put(b, 22, 1, 2), Put(b, 24, v.bitCount, 2);
  } else {
    Put(b, 18, page.width, 4);
    Put(b, 22, static_cast<uint32_t>(v.topDown ? -page.height : page.height), 4);
    Put(b, 26, 1, 2), Put(b, 28, v.bitCount, 2), Put(b, 34, static_cast<uint32_t>(stride * page.height), 4);
    Put(b, 38, 7874, 4), Put(b, 42, 7874, 4), Put(b, 46, entries, 4), Put(b, 50, entries, 4);  // 200 dpi
    if (v.bitCount == 32) Put(b, 30, 3, 4), Put(b, 54, 0xFF0000, 4), Put(b, 58, 0xFF00, 4), Put(b, 62, 0xFF, 4);
  }
  const int lightIndex = v.darkIndex == 0 ? 1 : 0;
  for (int i = 0; i < entries; i++) {  // unused entries are mid grey
    const Rgb c = i == v.darkIndex ? v.dark : i == lightIndex ? v.light : Rgb{128, 128, 128};
    for (int k = 0; k < 3; k++) b[14 + v.headerSize + i * entrySize + k] = c[2 - k];
  }
  for (int y = 0; y < page.height; y++) {
    uint8_t* row = b.data() + offset + (v.topDown ? y : page.height - 1 - y) * stride;
    if (v.bitCount == 1) std::fill_n(row, stride, lightIndex ? 0xFF : 0);  // padding bits light too
    for (int x = 0; x < page.width; x++) {
      const int index = page.at(x, y) ? v.darkIndex : lightIndex;
      if (v.bitCount == 1 && index != lightIndex) row[x >> 3] ^= static_cast<uint8_t>(0x80 >> (x & 7));
      if (v.bitCount == 8) row[x] = static_cast<uint8_t>(index);
      for (int k = 0; k < 3 && v.bitCount == 32; k++) row[4 * x + k] = (page.at(x, y) ? v.dark : v.light)[2 - k];
    }
  }
  return b;
}

std::vector<uint8_t> ToDib(const Page& page, bool colour0Dark) {
  std::vector<uint8_t> dib = MakeBmp(page, {.darkIndex = colour0Dark ? 0 : 1});
  dib.erase(dib.begin(), dib.begin() + 14);
  return dib;
}

bool WriteBmp(const Page& page, const std::string& path) {
  const std::vector<uint8_t> bytes = MakeBmp(page, {});
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

std::vector<uint8_t> MakePnm(const Page& page, char kind, int maxValue) {
  std::string header = std::string("P") + kind + "\n# written by the pdf417 tests\n" + std::to_string(page.width) +
                       " " + std::to_string(page.height) + "\n";
  if (kind != '1' && kind != '4') header += std::to_string(maxValue) + "\n";
  std::vector<uint8_t> b(header.begin(), header.end());
  const int channels = kind == '3' || kind == '6' ? 3 : 1;
  const auto sample = [&](bool dark, int k) {
    return kind == '1' || kind == '4' ? dark : (Colour(dark, k, channels) * maxValue + 127) / 255;
  };
  if (kind >= '4') {
    const std::vector<uint8_t> rows = PackedRows(page, channels, kind == '4' ? 1 : maxValue > 255 ? 16 : 8, sample);
    b.insert(b.end(), rows.begin(), rows.end());
  }
  for (int y = 0; y < page.height && kind < '4'; y++) {
    for (int x = 0; x < page.width; x++)
      for (int k = 0; k < channels; k++) {
        const std::string t = std::to_string(sample(page.at(x, y), k)) + (kind == '1' ? "" : " ");  // P1: no separators
        b.insert(b.end(), t.begin(), t.end());
      }
    b.push_back('\n');
  }
  return b;
}

bool WriteTiff(const std::string& path, const std::vector<Page>& pages, TiffKind kind) {
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "w"), TIFFClose);
  TIFF* t = tif.get();
  const bool flipped = kind == TiffKind::G4MinIsBlackBottomUp, tiled = kind == TiffKind::Lzw1Tiled;
  const bool bits = kind != TiffKind::Grey8Lzw && kind != TiffKind::Rgb24, g4 = kind == TiffKind::G4 || flipped;
  const int channels = kind == TiffKind::Rgb24 ? 3 : 1;
  for (const Page& page : pages) {
    if (t == nullptr) return false;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, bits ? 1 : 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC,
                 flipped || kind == TiffKind::Grey8Lzw ? PHOTOMETRIC_MINISBLACK
                 : bits                                ? PHOTOMETRIC_MINISWHITE
                                                       : PHOTOMETRIC_RGB);
    if (flipped) TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_BOTLEFT);
    TIFFSetField(t, TIFFTAG_COMPRESSION, g4 ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW);
    TIFFSetField(t, tiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, g4 ? page.height : 16);
    if (tiled) TIFFSetField(t, TIFFTAG_TILELENGTH, 16);
    const std::vector<uint8_t> image = PackedRows(page, channels, bits ? 1 : 8, [&](bool dark, int k) {
      return bits ? dark != flipped : Colour(dark, k, channels);
    });
    const size_t rowBytes = image.size() / page.height;
    for (int y = 0; y < page.height && !tiled; y++) {  // flipped: the bottom row first
      if (TIFFWriteScanline(t, const_cast<uint8_t*>(&image[rowBytes * (flipped ? page.height - 1 - y : y)]), y, 0) < 0)
        return false;
    }
    for (int top = 0; top < page.height && tiled; top += 16)
      for (int left = 0; left < page.width; left += 16) {
        uint8_t tile[2 * 16] = {};
        for (int r = 0; r < 16 && top + r < page.height; r++)
          for (int k = 0; k < 2 && left / 8 + k < static_cast<int>(rowBytes); k++)
            tile[2 * r + k] = image[rowBytes * (top + r) + left / 8 + k];
        if (TIFFWriteTile(t, tile, left, top, 0, 0) < 0) return false;
      }
    if (!TIFFWriteDirectory(t)) return false;
  }
  return t != nullptr;
}

bool WritePng(const std::string& path, const Page& page, PngKind kind) {
  const bool palette = kind == PngKind::Palette1 || kind == PngKind::Palette4, rgb = kind == PngKind::RgbInterlaced;
  const int depth = kind == PngKind::Palette1 || kind == PngKind::Grey1Interlaced ? 1
                    : kind == PngKind::Palette4                                   ? 4
                    : kind == PngKind::Grey16                                     ? 16
                                                                                  : 8;
  std::vector<uint8_t> rows = PackedRows(page, rgb ? 3 : 1, depth, [&](bool dark, int k) {
    return palette ? dark : depth == 1 ? !dark : Colour(dark, k, rgb ? 3 : 1) * (depth == 16 ? 257 : 1);
  });
  std::vector<png_bytep> rowPointers;
  for (int y = 0; y < page.height; y++) rowPointers.push_back(rows.data() + rows.size() / page.height * y);
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
  const int type = palette ? PNG_COLOR_TYPE_PALETTE : rgb ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
  return f && WritePngRows(f.get(), page, depth, type, rgb || kind == PngKind::Grey1Interlaced, rowPointers.data());
}

std::vector<uint8_t> EncodeJpeg(const uint8_t* samples, int width, int height, int channels, int quality,
                                bool progressive) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);  // errors exit: the inputs here are always valid
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = channels;
  info.in_color_space = channels == 1 ? JCS_GRAYSCALE : channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  if (progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<uint8_t*>(samples) + static_cast<size_t>(info.next_scanline) * width * channels;
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  std::vector<uint8_t> out(buffer, buffer + size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return out;
}

std::vector<uint8_t> MakeJpeg(const Page& page, int channels, bool progressive) {
  const std::vector<uint8_t> samples = PackedRows(page, channels, 8, [&](bool dark, int k) {
    return channels < 4 ? Colour(dark, k, channels)
           : k < 3      ? 255
                        : Colour(dark, 0, 1);  // Adobe's inverted CMYK: 255 is no ink
  });
  return EncodeJpeg(samples.data(), page.width, page.height, channels, 95, progressive);
}

std::string PdfDocument(const std::vector<std::string>& objects) {
  std::string pdf = "%PDF-1.4\n";
  std::vector<size_t> offsets;
  for (size_t i = 0; i < objects.size(); ++i) {
    offsets.push_back(pdf.size());
    pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const size_t xref = pdf.size();
  pdf += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
  for (size_t at : offsets) {
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", at);
    pdf += entry;
  }
  return pdf + "trailer\n<< /Size " + std::to_string(offsets.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
         std::to_string(xref) + "\n%%EOF\n";
}

}  // namespace pdf417::testing
