// PDF intake: every page rendered at 300 dpi into a grey raster by the PDF
// module (pdf_module.h), which is loaded on first use from next to the
// binary this code is part of (the executable, or the Python package's
// extension) or from PDF417READ_MODULE_DIR relative to it (an installed
// tree). A worker keeps the document it opened last in its
// LoadContext, so the pages of one file are not each parsed anew.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <vector>

#include "image_file.h"
#include "pdf_module.h"

#ifndef PDF417READ_MODULE_DIR
#  define PDF417READ_MODULE_DIR "."
#endif

namespace pdf417read {
namespace {

constexpr double kPdfDpi = 300;
constexpr const char* kModuleName = "pdf417read-pdf.so";

struct LoadedModule {
  const PdfModule* module = nullptr;
  std::string error;
};

LoadedModule Load() {
  LoadedModule loaded;
  // The directory of the binary this code is part of, and of the executable.
  std::vector<std::filesystem::path> dirs;
  Dl_info self{};
  if (::dladdr(reinterpret_cast<void*>(&Load), &self) != 0 && self.dli_fname != nullptr && self.dli_fname[0] != 0) {
    dirs.push_back(std::filesystem::path(self.dli_fname).parent_path());
  }
  char exe[PATH_MAX];
  const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) dirs.push_back(std::filesystem::path(std::string(exe, static_cast<size_t>(n))).parent_path());
  std::vector<std::filesystem::path> candidates;
  for (const auto& dir : dirs) {
    candidates.push_back(dir / kModuleName);
    candidates.push_back(dir / PDF417READ_MODULE_DIR / kModuleName);
  }
  for (const auto& candidate : candidates) {
    if (!std::filesystem::exists(candidate)) continue;
    void* handle = ::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
      loaded.error = ::dlerror();
      return loaded;
    }
    auto* entry = reinterpret_cast<const PdfModule* (*)()>(::dlsym(handle, "pdf417read_pdf_module"));
    if (entry) loaded.module = entry();
    if (!loaded.module) loaded.error = std::string(kModuleName) + " is damaged";
    return loaded;  // never unloaded: poppler keeps global state
  }
  loaded.error = std::string(kModuleName) + " not found";
  return loaded;
}

const PdfModule& Module() {
  static const LoadedModule loaded = Load();
  if (!loaded.module) throw ImageError("PDF support unavailable: " + loaded.error);
  return *loaded.module;
}

void* Document(const std::shared_ptr<const SourceFile>& file, LoadContext& context) {
  if (context.pdfFile == file && context.pdfDocument) return context.pdfDocument.get();
  context.ForgetDocument();
  const PdfModule& module = Module();
  std::string error;
  void* document = module.open(file->bytes.data(), file->bytes.size(), &error);
  if (!document) throw ImageError("PDF: " + error);
  context.pdfDocument = std::shared_ptr<void>(document, module.close);
  context.pdfFile = file;
  return document;
}

}  // namespace

int CountPdfPages(const std::shared_ptr<const SourceFile>& file, LoadContext& context) {
  return Module().pageCount(Document(file, context));
}

PageImage LoadPdfPage(const std::shared_ptr<const SourceFile>& file, int page, LoadContext& context) {
  void* document = Document(file, context);
  const PdfModule& module = Module();
  std::string error;
  int64_t width = 0, height = 0;
  if (!module.pageSize(document, page, kPdfDpi, &width, &height, &error)) throw ImageError("PDF: " + error);
  CheckPageSize(width, height);
  PageImage out;
  out.kind = PageImage::Kind::Grey;
  // poppler holds the page twice while rendering (its bitmap and its image).
  out.memory = context.Reserve(PageBytes(out.kind, width, height, 2 * static_cast<uint64_t>(width * height)));
  GreyRaster& r = out.grey;
  if (!module.render(document, page, kPdfDpi, &r.grey, &r.width, &r.height, &error)) throw ImageError("PDF: " + error);
  CheckPageSize(r.width, r.height);
  return out;
}

}  // namespace pdf417read
