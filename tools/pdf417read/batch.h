// Reading many files: pages are read on worker threads, each with a library
// handle of its own, and reported on the calling thread in input order.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "image_file.h"
#include "page_reader.h"

namespace pdf417read {

struct BatchOptions {
  int jobs = 1;               // worker threads (at least 1)
  int threshold = -1;         // forced grey threshold 0..256, or -1: grey pages go to the library as grey
  std::string dumpDirectory;  // when set, every bitmap handed to the library is saved here
  InputLimits limits;
  uint64_t memoryBudget = uint64_t{2} << 30;  // --max-memory: raster bytes of all pages in flight
  bool keepBitmaps = false;                   // hand each page's bitmap back in PageOutcome::bitmap
};

// The outcome of one page: its results, or the reason it could not be read.
struct PageOutcome {
  int page = 1;  // 1-based
  std::vector<SymbolRecord> symbols;
  std::string error;
  std::string dumpError;        // --dump-bitmaps could not save the page (its results stand)
  std::vector<uint8_t> bitmap;  // BMP file of what the library read, with BatchOptions::keepBitmaps
};

// Called on the thread that runs RunBatch, strictly in input order.
struct BatchSink {
  // A file that could not be opened or recognised (no page of it was read),
  // or, after its pages, one with more pages than the limit.
  std::function<void(size_t file, const std::string& reason)> fileError;
  // One page of a file that has pageCount pages.
  std::function<void(size_t file, int pageCount, const PageOutcome& outcome)> page;
  // Pages finished so far and pages known so far (a file not yet opened counts
  // as one page); called now and then while waiting.
  std::function<void(long done, long total)> progress;
};

// Reads one decoded page: a stored DIB or 1-bit raster as it is; a grey
// raster as grey pixels (the library binarises it with a local threshold,
// then Otsu's), or, with a forced `threshold` 0..256, binarised here into a
// 1-bit DIB. `dump`, when set, is handed a maker of the BMP file of what the
// library read (a 1-bit or an 8-bit grey BMP); the file is made only when
// asked for. The CLI's pages and the Python package's arrays all come here,
// so this is the one place where pixels become what the library reads.
using Dump = std::function<void(const std::function<std::vector<uint8_t>()>& bmpFile)>;
std::vector<SymbolRecord> ReadImage(PageImage& image, int threshold, const Dump& dump = {});

// Reads page `page` (0-based) of a file opened with OpenSource: the work of
// one page task, for hosts that schedule pages themselves. fileIndex and
// path name the page's --dump-bitmaps file.
PageOutcome ReadPage(const std::shared_ptr<const SourceFile>& source, int page, LoadContext& context, size_t fileIndex,
                     const std::string& path, const BatchOptions& options);

void RunBatch(const std::vector<std::string>& files, const BatchOptions& options, const BatchSink& sink);

// The name under which --dump-bitmaps saves a page: "<n>-<stem>-<page>.bmp",
// n being the file's 1-based position on the command line.
std::string DumpFileName(size_t file, const std::string& path, int page);

}  // namespace pdf417read
