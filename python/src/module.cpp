// pdf417._pdf417: the Python package's native part. It reads files through
// pdf417read's image loaders and pages through the same routine as the
// command-line reader, and formats JSON Lines with its formatter, so the
// package and the CLI give the same results. Every read runs with the GIL
// released.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "batch.h"
#include "charset.h"
#include "image_file.h"
#include "output_format.h"
#include "page_reader.h"

namespace py = pybind11;
using namespace pdf417read;

namespace {

// An image file in memory, its format recognised and its pages located.
struct OpenFile {
  std::shared_ptr<const SourceFile> source;
};

// One page's results.
struct PageResult {
  std::vector<SymbolRecord> symbols;
};

py::object OrNone(int64_t v) { return v < 0 ? py::object(py::none()) : py::object(py::int_(v)); }

// A Macro text field (text compaction: ASCII), decoded so that it never fails.
py::object OrNone(const std::optional<std::string>& s) {
  if (!s) return py::none();
  return py::reinterpret_steal<py::object>(
      PyUnicode_DecodeLatin1(s->data(), static_cast<Py_ssize_t>(s->size()), nullptr));
}

py::tuple Points(const std::array<int32_t, 8>& p) {
  return py::make_tuple(py::make_tuple(p[0], p[1]), py::make_tuple(p[2], p[3]), py::make_tuple(p[4], p[5]),
                        py::make_tuple(p[6], p[7]));
}

// The keyword arguments of pdf417.Symbol for one result (macro and grid as
// dicts, made into their classes on the Python side).
py::dict SymbolFields(const SymbolRecord& s, int index, const std::string& charset) {
  py::dict d;
  d["index"] = index;
  d["data"] = s.decoded() ? py::object(py::bytes(reinterpret_cast<const char*>(s.data.data()), s.data.size()))
                          : py::object(py::none());
  std::optional<std::string> text;
  if (s.decoded()) text = DataAsUtf8(s.data, s.ecis, charset);
  d["text"] = text ? py::object(py::str(*text)) : py::object(py::none());
  py::list eci;
  for (const EciMark& m : s.ecis) eci.append(py::make_tuple(m.designator, m.offset));
  d["eci"] = eci;
  d["reader_init"] = s.readerInit;
  if (s.macro) {
    const MacroInfo& m = *s.macro;
    d["macro"] = py::dict(py::arg("segment_index") = m.segmentIndex, py::arg("last_segment") = m.lastSegment,
                          py::arg("segment_count") = OrNone(m.segmentCount), py::arg("file_id") = OrNone(m.fileId),
                          py::arg("file_name") = OrNone(m.fileName), py::arg("time_stamp") = OrNone(m.timeStamp),
                          py::arg("sender") = OrNone(m.sender), py::arg("addressee") = OrNone(m.addressee),
                          py::arg("file_size") = OrNone(m.fileSize), py::arg("checksum") = OrNone(m.checksum));
  } else {
    d["macro"] = py::none();
  }
  d["corners"] = Points(s.corners);
  d["direction"] = s.direction;
  d["ec_level"] = s.errorCorrection;
  d["mode"] = s.mode;
  d["confidence"] = s.confidence;
  if (s.grid.rows > 0) {
    d["grid"] = py::dict(py::arg("rows") = s.grid.rows, py::arg("columns") = s.grid.columns,
                         py::arg("outline") = Points(s.grid.outline));
  } else {
    d["grid"] = py::none();
  }
  return d;
}

void RequireCharset(const std::string& charset) {
  if (!CharsetKnown(charset)) throw py::value_error("unknown character set " + charset);
}

// Checks a page size against the loaders' limits (ValueError).
void CheckArraySize(int64_t width, int64_t height) {
  try {
    CheckPageSize(width, height);
  } catch (const ImageError& e) {
    throw py::value_error(e.what());
  }
}

// Checks an array's dimensions and size; returns its pixels.
template <typename T>
const T* Pixels(const py::array_t<T, py::array::c_style>& a, int ndim) {
  if (a.ndim() != ndim) throw py::value_error("expected a " + std::to_string(ndim) + "-D array");
  CheckArraySize(a.shape(1), a.shape(0));
  return a.data();
}

// Reads an array as a page of one grey byte per pixel: fill converts the
// pixels (GIL released), then the page is read as the CLI reads it.
// A two-level array (0 and 255) is read with a threshold between them.
template <typename T, typename Fill>
PageResult ReadRaster(const py::array_t<T, py::array::c_style>& a, int ndim, int threshold, bool bilevel, Fill fill) {
  const T* pixels = Pixels(a, ndim);
  py::gil_scoped_release release;
  PageImage image;
  image.kind = PageImage::Kind::Grey;
  image.grey.width = static_cast<int>(a.shape(1));
  image.grey.height = static_cast<int>(a.shape(0));
  image.grey.grey.resize(static_cast<size_t>(a.shape(0) * a.shape(1)));
  fill(pixels, image.grey.grey);
  return PageResult{ReadImage(image, bilevel ? 128 : threshold)};
}

// 2-D uint8, 0 black: binarised with the threshold (Otsu's when -1).
PageResult ReadGrey(const py::array_t<uint8_t, py::array::c_style>& a, int threshold) {
  return ReadRaster(a, 2, threshold, false,
                    [](const uint8_t* p, std::vector<uint8_t>& grey) { std::copy_n(p, grey.size(), grey.begin()); });
}

// 2-D bool, True white: two levels, never thresholded. The bytes are read
// as numbers: a bool array made from a Pillow "1" image holds 255 for True.
PageResult ReadBilevel(const py::array_t<bool, py::array::c_style>& a) {
  return ReadRaster(a, 2, -1, true, [](const bool* p, std::vector<uint8_t>& grey) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(p);
    for (size_t i = 0; i < grey.size(); i++) grey[i] = bytes[i] != 0 ? 255 : 0;
  });
}

// 3-D uint8 (height, width, channels): grey, grey + alpha, RGB or RGBA;
// luminance as the loaders compute it, alpha laid over white.
PageResult ReadColour(const py::array_t<uint8_t, py::array::c_style>& a, int threshold) {
  const int64_t channels = a.ndim() == 3 ? a.shape(2) : 0;
  if (channels < 1 || channels > 4) throw py::value_error("a colour array is 3-D with 1 to 4 channels");
  return ReadRaster(a, 3, threshold, false, [channels](const uint8_t* p, std::vector<uint8_t>& grey) {
    for (size_t i = 0; i < grey.size(); i++, p += channels) {
      const uint8_t value = channels >= 3 ? Luminance(p[0], p[1], p[2]) : p[0];
      grey[i] = channels % 2 == 0 ? OverWhite(value, p[channels - 1]) : value;
    }
  });
}

// 2-D uint8 rows of packed bits (most significant bit leftmost, 0 black),
// `width` pixels each: handed to the library as a DIB without thresholding.
PageResult ReadPacked(const py::array_t<uint8_t, py::array::c_style>& a, int64_t width) {
  const int64_t height = a.ndim() == 2 ? a.shape(0) : 0, rowBytes = a.ndim() == 2 ? a.shape(1) : 0;
  if (width <= 0 || (width + 7) / 8 > rowBytes)
    throw py::value_error("width " + std::to_string(width) + " does not fit rows of " + std::to_string(rowBytes) +
                          " bytes");
  CheckArraySize(width, height);
  const uint8_t* p = a.data();
  py::gil_scoped_release release;
  const size_t stride = (static_cast<size_t>(width) + 31) / 32 * 4;
  std::vector<uint8_t> dib(48 + stride * static_cast<size_t>(height), 0xFF);
  const uint32_t header[] = {40, static_cast<uint32_t>(width), static_cast<uint32_t>(height), 1 | 1 << 16};
  std::memcpy(dib.data(), header, sizeof header);  // the DIB is little-endian, as is this machine
  std::memset(dib.data() + 16, 0, 28);             // no compression; colour 0 black
  std::memset(dib.data() + 44, 0xFF, 3);           // colour 1 white
  for (int64_t y = 0; y < height; y++) {
    uint8_t* row = dib.data() + 48 + static_cast<size_t>(height - 1 - y) * stride;
    std::memcpy(row, p + y * rowBytes, static_cast<size_t>((width + 7) / 8));
    if (width % 8) row[width / 8] |= static_cast<uint8_t>(0xFF >> (width % 8));  // padding light
  }
  PageImage image;
  image.kind = PageImage::Kind::StoredDib;
  image.dib = dib;
  return PageResult{ReadImage(image, -1)};
}

}  // namespace

PYBIND11_MODULE(_pdf417, m) {
  m.doc() = "The native part of the pdf417 package; use pdf417.read.";
  py::register_exception<ImageError>(m, "ImageError", PyExc_OSError).attr("__doc__") =
      "An image file that cannot be decoded (not an image, damaged, too large).";
  py::register_exception<ReadError>(m, "_ReadError", PyExc_MemoryError);

  py::class_<OpenFile, std::shared_ptr<OpenFile>>(m, "OpenFile")
      .def(py::init([](py::bytes data) {
             auto f = std::make_shared<OpenFile>();
             const std::string_view view = data;
             std::vector<uint8_t> bytes(view.begin(), view.end());
             py::gil_scoped_release release;
             LoadContext context;
             f->source = OpenSource(std::move(bytes), InputLimits{}, context);
             return f;
           }),
           py::arg("data"), "Recognises an image file's format and counts its pages (ImageError when it cannot).")
      .def_property_readonly("page_count", [](const OpenFile& f) { return f.source->pageCount; })
      .def(
          "read_page",
          [](const OpenFile& f, int page, int threshold) {
            if (page < 0 || page >= f.source->pageCount) throw py::index_error("no page " + std::to_string(page));
            BatchOptions options;
            options.threshold = threshold;
            PageOutcome outcome;
            {
              py::gil_scoped_release release;
              // A context of its own per call: threads may read pages of one
              // file at once (a PDF is then opened once per page).
              LoadContext context;
              outcome = ReadPage(f.source, page, context, 0, "", options);
            }
            if (!outcome.error.empty()) throw ImageError(outcome.error);
            return PageResult{std::move(outcome.symbols)};
          },
          py::arg("page"), py::arg("threshold") = -1, "Reads page `page` (from 0), as pdf417read reads it.");

  py::class_<PageResult>(m, "PageResult")
      .def_property_readonly("decoded",
                             [](const PageResult& r) {
                               return std::any_of(r.symbols.begin(), r.symbols.end(),
                                                  [](const SymbolRecord& s) { return s.decoded(); });
                             })
      .def(
          "symbols",
          [](const PageResult& r, bool includeUndecoded, const std::string& charset) {
            RequireCharset(charset);
            py::list out;
            for (size_t i = 0; i < r.symbols.size(); i++)
              if (includeUndecoded || r.symbols[i].decoded())
                out.append(SymbolFields(r.symbols[i], static_cast<int>(i), charset));
            return out;
          },
          py::arg("include_undecoded"), py::arg("charset") = std::string(kDefaultCharset))
      .def(
          "json_lines",
          [](const PageResult& r, const std::string& file, int page, bool decodedOnly, const std::string& charset) {
            RequireCharset(charset);
            const TextOptions text{charset};
            std::vector<std::string> lines;
            for (size_t i = 0; i < r.symbols.size(); i++) {
              if (decodedOnly && !r.symbols[i].decoded()) continue;
              lines.emplace_back(JsonLine({file, page, false, static_cast<int>(i)}, r.symbols[i], text));
            }
            return lines;
          },
          py::arg("file"), py::arg("page"), py::arg("decoded_only") = false,
          py::arg("charset") = std::string(kDefaultCharset),
          "The page's results as pdf417read --json writes them (pass the file name as bytes, as on the "
          "command line).");

  m.def("read_grey", &ReadGrey, py::arg("pixels"), py::arg("threshold") = -1);
  m.def("read_bilevel", &ReadBilevel, py::arg("pixels"));
  m.def("read_colour", &ReadColour, py::arg("pixels"), py::arg("threshold") = -1);
  m.def("read_packed", &ReadPacked, py::arg("rows"), py::arg("width"));
  m.attr("DEFAULT_CHARSET") = kDefaultCharset;
}
