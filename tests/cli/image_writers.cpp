#include "image_writers.h"

#include <png.h>
#include <tiffio.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <memory>
// jpeglib.h needs FILE declared first.
#include <jpeglib.h>

namespace cli_test {
namespace {

using pdf417::testing::Page;

void Put(std::vector<uint8_t>& b, size_t at, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; i++) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// Writes rows with the classic libpng API; no C++ object lives across setjmp.
bool WritePngRows(FILE* f, int width, int height, int bitDepth, int colourType, png_bytepp rows,
                  const png_color* palette, int paletteSize, bool interlaced) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, f);
  png_set_IHDR(png, info, width, height, bitDepth, colourType, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (palette) png_set_PLTE(png, info, palette, paletteSize);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

bool WritePngFile(const std::string& path, int width, int height, int bitDepth, int colourType,
                  std::vector<std::vector<uint8_t>>& rowData, const png_color* palette = nullptr,
                  int paletteSize = 0, bool interlaced = false) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!f) return false;
  std::vector<png_bytep> rows;
  for (auto& r : rowData) rows.push_back(r.data());
  return WritePngRows(f.get(), width, height, bitDepth, colourType, rows.data(), palette, paletteSize, interlaced);
}

}  // namespace

std::vector<uint8_t> MakeBmp(const Page& page, const BmpVariant& v) {
  const bool core = v.headerSize == 12;
  const int entries = v.bitCount > 8 ? 0 : v.paletteEntries ? v.paletteEntries : v.bitCount == 1 ? 2 : 1 << v.bitCount;
  const int entrySize = core ? 3 : 4;
  const bool masks = v.bitCount == 32 && v.headerSize > 40;
  const size_t stride = (static_cast<size_t>(page.width) * v.bitCount + 31) / 32 * 4;
  const size_t offset = 14 + v.headerSize + entries * entrySize;
  std::vector<uint8_t> b(offset + stride * page.height, 0);
  b[0] = 'B', b[1] = 'M';
  Put(b, 2, static_cast<uint32_t>(b.size()), 4);
  Put(b, 10, static_cast<uint32_t>(offset), 4);
  Put(b, 14, v.headerSize, 4);
  if (core) {
    Put(b, 18, page.width, 2), Put(b, 20, page.height, 2), Put(b, 22, 1, 2), Put(b, 24, v.bitCount, 2);
  } else {
    Put(b, 18, page.width, 4);
    Put(b, 22, static_cast<uint32_t>(v.topDown ? -page.height : page.height), 4);
    Put(b, 26, 1, 2), Put(b, 28, v.bitCount, 2);
    Put(b, 30, masks ? 3 : 0, 4);
    Put(b, 46, entries, 4);
    if (masks) Put(b, 54, 0x00FF0000, 4), Put(b, 58, 0x0000FF00, 4), Put(b, 62, 0x000000FF, 4);
  }
  const int lightIndex = v.darkIndex == 0 ? 1 : 0;
  for (int i = 0; i < entries; i++) {  // unused entries are mid grey
    const Bgr c = i == v.darkIndex ? v.dark : i == lightIndex ? v.light : Bgr{128, 128, 128};
    for (int k = 0; k < 3; k++) b[14 + v.headerSize + i * entrySize + k] = c[k];
  }
  for (int y = 0; y < page.height; y++) {
    uint8_t* row = b.data() + offset + (v.topDown ? y : page.height - 1 - y) * stride;
    for (int x = 0; x < page.width; x++) {
      const bool dark = page.at(x, y);
      const int index = dark ? v.darkIndex : lightIndex;
      const Bgr& c = dark ? v.dark : v.light;
      switch (v.bitCount) {
        case 1: row[x >> 3] |= static_cast<uint8_t>(index << (7 - (x & 7))); break;
        case 4: row[x >> 1] |= static_cast<uint8_t>(index << (x & 1 ? 0 : 4)); break;
        case 8: row[x] = static_cast<uint8_t>(index); break;
        case 24: for (int k = 0; k < 3; k++) row[3 * x + k] = c[k]; break;
        case 32: for (int k = 0; k < 3; k++) row[4 * x + k] = c[k]; break;
        case 16: {  // 5-5-5
          const int v = (c[2] >> 3) << 10 | (c[1] >> 3) << 5 | c[0] >> 3;
          row[2 * x] = static_cast<uint8_t>(v), row[2 * x + 1] = static_cast<uint8_t>(v >> 8);
          break;
        }
      }
    }
  }
  return b;
}

std::vector<uint8_t> MakePnm(const Page& page, char kind, int maxValue) {
  std::string header = std::string("P") + kind + "\n# written by the pdf417read tests\n" + std::to_string(page.width) +
                       " " + std::to_string(page.height) + "\n";
  if (kind != '1' && kind != '4') header += std::to_string(maxValue) + "\n";
  std::vector<uint8_t> b(header.begin(), header.end());
  const bool colour = kind == '3' || kind == '6';
  auto sample = [&](bool dark, int k) {
    const int v = colour ? (dark ? kInk : kPaper)[2 - k] : dark ? kInkGrey : kPaperGrey;  // R, G, B
    return (v * maxValue + 127) / 255;
  };
  for (int y = 0; y < page.height; y++) {
    if (kind == '4') {
      std::vector<uint8_t> row((page.width + 7) / 8, 0);
      for (int x = 0; x < page.width; x++)
        if (page.at(x, y)) row[x >> 3] |= static_cast<uint8_t>(0x80 >> (x & 7));
      b.insert(b.end(), row.begin(), row.end());
      continue;
    }
    for (int x = 0; x < page.width; x++) {
      const bool dark = page.at(x, y);
      if (kind == '1') {
        b.push_back(dark ? '1' : '0');  // no separators: allowed for P1
        continue;
      }
      for (int k = 0; k < (colour ? 3 : 1); k++) {
        const int s = sample(dark, k);
        if (kind == '2' || kind == '3') {
          const std::string t = std::to_string(s) + " ";
          b.insert(b.end(), t.begin(), t.end());
        } else if (maxValue > 255) {
          b.push_back(static_cast<uint8_t>(s >> 8)), b.push_back(static_cast<uint8_t>(s));
        } else {
          b.push_back(static_cast<uint8_t>(s));
        }
      }
    }
    if (kind == '1' || kind == '2' || kind == '3') b.push_back('\n');
  }
  return b;
}

bool WriteTiff(const std::string& path, const std::vector<Page>& pages, TiffKind kind) {
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "w"), TIFFClose);
  if (!tif) return false;
  TIFF* t = tif.get();
  const bool bilevel = kind != TiffKind::Grey8Lzw && kind != TiffKind::Rgb24;
  const bool g4 = kind == TiffKind::G4 || kind == TiffKind::G4MinIsBlack || kind == TiffKind::G4BottomUp;
  const bool minIsBlack = kind == TiffKind::G4MinIsBlack, bottomUp = kind == TiffKind::G4BottomUp;
  const bool tiled = kind == TiffKind::Lzw1Tiled;
  for (const Page& page : pages) {
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, bilevel ? 1 : 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, kind == TiffKind::Rgb24 ? 3 : 1);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, minIsBlack || kind == TiffKind::Grey8Lzw ? PHOTOMETRIC_MINISBLACK
                                         : bilevel ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_RGB);
    if (bottomUp) TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_BOTLEFT);
    const int compression = g4 ? COMPRESSION_CCITTFAX4
                            : kind == TiffKind::G3 ? COMPRESSION_CCITTFAX3
                            : kind == TiffKind::None1 ? COMPRESSION_NONE : COMPRESSION_LZW;
    TIFFSetField(t, TIFFTAG_COMPRESSION, compression);
    if (tiled) {
      TIFFSetField(t, TIFFTAG_TILEWIDTH, 16);
      TIFFSetField(t, TIFFTAG_TILELENGTH, 16);
    } else {
      TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, g4 ? page.height : 16);
    }
    // Whole rows as stored: top row first unless bottom-up.
    const size_t rowBytes = bilevel ? (page.width + 7) / 8 : static_cast<size_t>(page.width) * (kind == TiffKind::Rgb24 ? 3 : 1);
    std::vector<uint8_t> image(rowBytes * page.height, 0);
    for (int y = 0; y < page.height; y++) {
      uint8_t* row = &image[rowBytes * (bottomUp ? page.height - 1 - y : y)];
      for (int x = 0; x < page.width; x++) {
        const bool dark = page.at(x, y);
        if (bilevel) {
          if (dark != minIsBlack) row[x >> 3] |= static_cast<uint8_t>(0x80 >> (x & 7));
        } else if (kind == TiffKind::Rgb24) {
          for (int k = 0; k < 3; k++) row[3 * x + k] = (dark ? kInk : kPaper)[2 - k];
        } else {
          row[x] = dark ? kInkGrey : kPaperGrey;
        }
      }
    }
    if (tiled) {
      std::vector<uint8_t> tile(2 * 16);
      for (int top = 0; top < page.height; top += 16)
        for (int left = 0; left < page.width; left += 16) {
          std::fill(tile.begin(), tile.end(), 0);
          for (int r = 0; r < 16 && top + r < page.height; r++)
            for (int k = 0; k < 2 && left / 8 + k < static_cast<int>(rowBytes); k++)
              tile[2 * r + k] = image[rowBytes * (top + r) + left / 8 + k];
          if (TIFFWriteTile(t, tile.data(), left, top, 0, 0) < 0) return false;
        }
    } else {
      for (int y = 0; y < page.height; y++)
        if (TIFFWriteScanline(t, &image[rowBytes * y], y, 0) < 0) return false;
    }
    if (!TIFFWriteDirectory(t)) return false;
  }
  return true;
}

bool WritePng(const std::string& path, const Page& page, PngKind kind) {
  const int w = page.width, h = page.height;
  std::vector<std::vector<uint8_t>> rows(h);
  int depth = 8, type = PNG_COLOR_TYPE_GRAY;
  png_color palette[16] = {};
  for (int i = 0; i < 16; i++) palette[i] = {128, 128, 128};
  palette[3] = {kInk[2], kInk[1], kInk[0]};
  palette[9] = {kPaper[2], kPaper[1], kPaper[0]};
  for (int y = 0; y < h; y++) {
    auto& r = rows[y];
    for (int x = 0; x < w; x++) {
      const bool dark = page.at(x, y);
      switch (kind) {
        case PngKind::Grey1:
        case PngKind::Grey1Interlaced:
          if (r.empty()) r.assign((w + 7) / 8, 0xFF);
          if (dark) r[x >> 3] &= static_cast<uint8_t>(~(0x80 >> (x & 7)));
          depth = 1;
          break;
        case PngKind::Palette1:  // index 0 paper, 1 ink
          if (r.empty()) r.assign((w + 7) / 8, 0);
          if (dark) r[x >> 3] |= static_cast<uint8_t>(0x80 >> (x & 7));
          depth = 1, type = PNG_COLOR_TYPE_PALETTE;
          break;
        case PngKind::Grey8: r.push_back(dark ? kInkGrey : kPaperGrey); break;
        case PngKind::Grey16: {
          const int v = (dark ? kInkGrey : kPaperGrey) * 257;
          r.push_back(static_cast<uint8_t>(v >> 8)), r.push_back(static_cast<uint8_t>(v));
          depth = 16;
          break;
        }
        case PngKind::Rgb8:
        case PngKind::Rgb8Interlaced:
          for (int k = 2; k >= 0; k--) r.push_back((dark ? kInk : kPaper)[k]);
          type = PNG_COLOR_TYPE_RGB;
          break;
        case PngKind::Palette4:
          if (r.empty()) r.assign((w + 1) / 2, 0);
          r[x >> 1] |= static_cast<uint8_t>((dark ? 3 : 9) << (x & 1 ? 0 : 4));
          depth = 4, type = PNG_COLOR_TYPE_PALETTE;
          break;
        case PngKind::GreyAlpha:  // black ink, paper fully transparent (white once laid on white)
          r.push_back(0), r.push_back(dark ? 255 : 0);
          type = PNG_COLOR_TYPE_GRAY_ALPHA;
          break;
      }
    }
  }
  if (kind == PngKind::Palette1) palette[0] = {kPaper[2], kPaper[1], kPaper[0]}, palette[1] = {kInk[2], kInk[1], kInk[0]};
  const bool interlaced = kind == PngKind::Grey1Interlaced || kind == PngKind::Rgb8Interlaced;
  return WritePngFile(path, w, h, depth, type, rows, type == PNG_COLOR_TYPE_PALETTE ? palette : nullptr,
                      depth == 1 ? 2 : 16, interlaced);
}

bool WriteGreyPng(const std::string& path, int width, int height, const std::vector<uint8_t>& grey) {
  std::vector<std::vector<uint8_t>> rows(height);
  for (int y = 0; y < height; y++) rows[y].assign(grey.begin() + y * width, grey.begin() + (y + 1) * width);
  return WritePngFile(path, width, height, 8, PNG_COLOR_TYPE_GRAY, rows);
}

}  // namespace cli_test

namespace cli_test {

std::vector<uint8_t> MakeJpeg(const Page& page, JpegKind kind, bool progressive) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);  // errors exit: the inputs here are always valid
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  const int channels = kind == JpegKind::Grey ? 1 : kind == JpegKind::Rgb ? 3 : 4;
  info.image_width = page.width;
  info.image_height = page.height;
  info.input_components = channels;
  info.in_color_space = kind == JpegKind::Grey ? JCS_GRAYSCALE : kind == JpegKind::Rgb ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 95, TRUE);
  if (progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  std::vector<uint8_t> row(static_cast<size_t>(page.width) * channels);
  for (int y = 0; y < page.height; y++) {
    for (int x = 0; x < page.width; x++) {
      const bool dark = page.at(x, y);
      uint8_t* p = &row[static_cast<size_t>(x) * channels];
      if (kind == JpegKind::Grey) {
        p[0] = dark ? kInkGrey : kPaperGrey;
      } else if (kind == JpegKind::Rgb) {
        for (int k = 0; k < 3; k++) p[k] = (dark ? kInk : kPaper)[2 - k];
      } else {  // Adobe's inverted CMYK: 255 is no ink
        p[0] = p[1] = p[2] = 255;
        p[3] = dark ? kInkGrey : kPaperGrey;
      }
    }
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  std::vector<uint8_t> out(buffer, buffer + size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return out;
}

std::vector<uint8_t> MakePdf(const std::vector<Page>& pages) {
  std::vector<std::string> objects;
  auto object = [&](const std::string& body) { objects.push_back(body); };
  std::string kids;
  for (size_t i = 0; i < pages.size(); i++) kids += std::to_string(3 + 3 * i) + " 0 R ";
  object("<< /Type /Catalog /Pages 2 0 R >>");
  object("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages.size()) + " >>");
  for (size_t i = 0; i < pages.size(); i++) {
    const Page& page = pages[i];
    char size[64];  // points at 300 dpi
    std::snprintf(size, sizeof size, "%.4f %.4f", page.width * 72.0 / 300, page.height * 72.0 / 300);
    object("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + std::string(size) + "] /Resources << /XObject << /Im " +
           std::to_string(4 + 3 * i) + " 0 R >> >> /Contents " + std::to_string(5 + 3 * i) + " 0 R >>");
    std::string bits;  // 1-bit DeviceGray rows: 0 is black
    for (int y = 0; y < page.height; y++) {
      std::string row((page.width + 7) / 8, '\xff');
      for (int x = 0; x < page.width; x++)
        if (page.at(x, y)) row[x >> 3] = static_cast<char>(row[x >> 3] & ~(0x80 >> (x & 7)));
      bits += row;
    }
    object("<< /Type /XObject /Subtype /Image /Width " + std::to_string(page.width) + " /Height " +
           std::to_string(page.height) + " /ColorSpace /DeviceGray /BitsPerComponent 1 /Length " +
           std::to_string(bits.size()) + " >>\nstream\n" + bits + "\nendstream");
    std::string scale = size;
    scale.replace(scale.find(' '), 1, " 0 0 ");
    const std::string content = "q " + scale + " 0 0 cm /Im Do Q";
    object("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
  }
  const std::string pdf = pdf417::testing::PdfDocument(objects);
  return std::vector<uint8_t>(pdf.begin(), pdf.end());
}

}  // namespace cli_test
