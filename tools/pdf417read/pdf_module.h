// The interface of pdf417read's PDF module (pdf_render.cpp, built as
// pdf417read-pdf.so over poppler's C++ API). The module is loaded with
// dlopen the first time a PDF is read, so the many libraries poppler pulls
// in do not slow down the start of every other run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pdf417read {

struct PdfModule {
  // Opens a document over bytes that must outlive it; null with *error set
  // when poppler cannot read it (or it needs a password).
  void* (*open)(const uint8_t* bytes, size_t size, std::string* error);
  void (*close)(void* document);
  int (*pageCount)(void* document);
  // The size in pixels a page renders to at dpi (rounded up).
  bool (*pageSize)(void* document, int page, double dpi, int64_t* width, int64_t* height, std::string* error);
  // Renders a page at dpi into grey, one byte per pixel (0 black, 255
  // white), row 0 at the top.
  bool (*render)(void* document, int page, double dpi, std::vector<uint8_t>* grey, int* width, int* height,
                 std::string* error);
};

}  // namespace pdf417read

// The module's one exported symbol.
extern "C" const pdf417read::PdfModule* pdf417read_pdf_module();
