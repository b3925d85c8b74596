// PDF pages through poppler's C++ API, rendered at the requested resolution
// into 8-bit grey. poppler-cpp offers no access to a page's embedded images,
// and rendering also covers symbols drawn as vector graphics. poppler's
// messages go nowhere: the caller reports a failure in one line.
#include <poppler-document.h>
#include <poppler-global.h>
#include <poppler-image.h>
#include <poppler-page-renderer.h>
#include <poppler-page.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>

#include "pdf_module.h"

namespace pdf417read {
namespace {

void Quiet(const std::string&, void*) {}

poppler::document* Document(void* document) { return static_cast<poppler::document*>(document); }

void* Open(const uint8_t* bytes, size_t size, std::string* error) {
  static std::once_flag quiet;
  std::call_once(quiet, [] { poppler::set_debug_error_function(Quiet, nullptr); });
  if (size > INT_MAX) {
    *error = "file too large for poppler";
    return nullptr;
  }
  std::unique_ptr<poppler::document> d(
      poppler::document::load_from_raw_data(reinterpret_cast<const char*>(bytes), static_cast<int>(size)));
  if (!d) {
    *error = "poppler cannot read this file";
    return nullptr;
  }
  if (d->is_locked()) {
    *error = "document needs a password";
    return nullptr;
  }
  return d.release();
}

void Close(void* document) { delete Document(document); }

int PageCount(void* document) { return Document(document)->pages(); }

std::unique_ptr<poppler::page> Page(void* document, int index, std::string* error) {
  std::unique_ptr<poppler::page> page(Document(document)->create_page(index));
  if (!page) *error = "cannot open page " + std::to_string(index + 1);
  return page;
}

bool PageSize(void* document, int index, double dpi, int64_t* width, int64_t* height, std::string* error) {
  const auto page = Page(document, index, error);
  if (!page) return false;
  const poppler::rectf box = page->page_rect(poppler::crop_box);
  double w = std::abs(box.width()) * dpi / 72, h = std::abs(box.height()) * dpi / 72;
  if (!(w >= 1 && h >= 1 && w < 1e9 && h < 1e9)) {
    *error = "page has no usable size";
    return false;
  }
  const auto turn = page->orientation();
  if (turn == poppler::page::landscape || turn == poppler::page::seascape) std::swap(w, h);
  *width = static_cast<int64_t>(std::ceil(w));
  *height = static_cast<int64_t>(std::ceil(h));
  return true;
}

bool Render(void* document, int index, double dpi, std::vector<uint8_t>* grey, int* width, int* height,
            std::string* error) {
  const auto page = Page(document, index, error);
  if (!page) return false;
  poppler::page_renderer renderer;
  renderer.set_image_format(poppler::image::format_gray8);
  renderer.set_render_hint(poppler::page_renderer::antialiasing);
  renderer.set_render_hint(poppler::page_renderer::text_antialiasing);
  const poppler::image image = renderer.render_page(page.get(), dpi, dpi);
  if (!image.is_valid() || image.format() != poppler::image::format_gray8 || image.width() <= 0 ||
      image.height() <= 0) {
    *error = "cannot render page " + std::to_string(index + 1);
    return false;
  }
  *width = image.width();
  *height = image.height();
  const size_t w = static_cast<size_t>(*width);
  grey->resize(w * static_cast<size_t>(*height));
  for (int y = 0; y < *height; y++)
    std::memcpy(grey->data() + static_cast<size_t>(y) * w,
                image.const_data() + static_cast<size_t>(y) * static_cast<size_t>(image.bytes_per_row()), w);
  return true;
}

constexpr PdfModule kModule{Open, Close, PageCount, PageSize, Render};

}  // namespace
}  // namespace pdf417read

extern "C" __attribute__((visibility("default"))) const pdf417read::PdfModule* pdf417read_pdf_module() {
  return &pdf417read::kModule;
}
