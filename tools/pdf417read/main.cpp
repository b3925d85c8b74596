// pdf417read: reads the PDF417 symbols in image files and prints them.
//
// Exit status: 0 when at least one symbol decoded, 1 when none did, 2 on a
// usage error or when any file or page could not be read (that takes
// precedence: a partial run is reported as a failure to scripts).
#include <tiffio.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "batch.h"
#include "charset.h"
#include "reading_picture.h"
#include "macro_join.h"
#include "output_format.h"
#include "progress.h"

#ifndef PDF417READ_VERSION
#  define PDF417READ_VERSION "unknown"
#endif

namespace {

constexpr int kExitDecoded = 0, kExitNone = 1, kExitError = 2;

struct Options {
  std::vector<std::string> files;
  int jobs = 1;
  int threshold = -1;
  bool json = false;
  bool decodedOnly = false;
  bool noProgress = false;
  bool joinMacro = false;
  std::string charset = pdf417read::kDefaultCharset;
  std::string dumpDirectory;
  uint64_t maxFileBytes = pdf417read::InputLimits{}.maxFileBytes;
  int maxPages = pdf417read::InputLimits{}.maxPages;
  uint64_t maxMemory = pdf417read::BatchOptions{}.memoryBudget;
  std::string inspectDirectory;
};

// file: the name as given; page: 1-based, or 0 for a message about the file.
void PrintError(const std::string& file, int page, const std::string& reason) {
  std::string where = pdf417read::EscapeControls(file);
  if (page > 0) where.append(":").append(std::to_string(page));
  std::fprintf(stderr, "pdf417read: %s: %s\n", where.c_str(), reason.c_str());
}

// Writes a whole file; throws std::runtime_error with the system's reason.
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) throw std::runtime_error(std::strerror(errno));
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  const int error = errno;
  if (std::fclose(f) != 0 || !written) throw std::runtime_error(std::strerror(written ? errno : error));
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  CLI::App app{
      "Finds and reads the PDF417 barcodes in scanned pages.\n\n"
      "Reads BMP, PNG, TIFF (all pages), PBM/PGM/PPM, JPEG and PDF files (every\n"
      "page rendered at 300 dpi); grey and colour pages are binarised first.\n"
      "A page may have at most 131072 pixels per side and 2^28 in all.\n"
      "Prints one line per symbol found:\n"
      "  file[:page]: direction, text\n"
      "where direction is 0 upright, 1 upside down, 2 or 3 sideways, and text\n"
      "is the symbol's data as UTF-8, decoded through the character sets its\n"
      "ECI designators name (ISO-8859-1 where it names none, see --charset);\n"
      "control characters show as \\xNN, and data that is no text (8-bit\n"
      "binary) shows every byte other than printable ASCII as \\xNN. A\n"
      "candidate that could not be decoded prints as \"?\".\n\n"
      "Exit status: 0 if a symbol was decoded, 1 if none was, 2 on a usage\n"
      "error or when a file could not be read.",
      "pdf417read"};
  app.set_version_flag("-V,--version", "pdf417read " PDF417READ_VERSION);
  app.add_option("files", o.files, "Image files to read (\"-\" reads standard input)")->required();
  app.add_flag("--json", o.json,
               "Write one JSON object per symbol (JSON Lines): file, page, index, decoded, bytes "
               "(the data exactly as encoded, base64), text (the data as UTF-8, null for binary data), "
               "eci, macro, reader_init, corners, direction, error_correction, mode, confidence");
  app.add_flag("--join-macro", o.joinMacro,
               "After all files, put the symbols of each Macro PDF417 message together in segment order "
               "and print one line per message (MACRO ... or a JSON object with macro_message), naming "
               "missing segments");
  app.add_option("--charset", o.charset,
                 "Character set of data without an ECI designator (an iconv name such as UTF-8 or CP437)")
      ->default_val(pdf417read::kDefaultCharset)
      ->check(CLI::Validator(
          [](std::string& name) {
            return pdf417read::CharsetKnown(name) ? std::string() : "unknown character set " + name;
          },
          "CHARSET", "charset"));
  app.add_option("-j,--jobs", o.jobs, "Pages read in parallel (0: one per processor core)")
      ->check(CLI::Range(0, 256))
      ->default_val(1);
  app.add_option("-t,--threshold", o.threshold,
                 "Grey level below which a pixel of a grey or colour page is dark (default: grey pages "
                 "go to the library as grey, which binarises them itself)")
      ->check(CLI::Range(0, 256));
  app.add_flag("--decoded-only", o.decodedOnly, "Leave out candidates that did not decode");
  app.add_flag("--no-progress", o.noProgress, "Never show the progress bar");
  app.add_option("--dump-bitmaps", o.dumpDirectory,
                 "Save every page handed to the reader as DIR/<n>-<name>-<page>.bmp (1-bit, or 8-bit grey)")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
      ->type_name("DIR");
  app.add_option("--max-file-size", o.maxFileBytes,
                 "Refuse a file (or standard input) larger than this (default 1G; K, M, G suffixes are powers of 1024)")
      ->transform(CLI::AsSizeValue(false))
      ->type_name("SIZE");
  app.add_option("--max-pages", o.maxPages, "Read at most this many pages of one file (default 10000)")
      ->check(CLI::Range(1, 100000000))
      ->type_name("N");
  app.add_option("--max-memory", o.maxMemory,
                 "Memory for the rasters of all pages read at a time (default 2G); a page needing more is refused, "
                 "pages wait for each other's memory")
      ->transform(CLI::AsSizeValue(false))
      ->type_name("SIZE");
  app.add_option("--inspect", o.inspectDirectory,
                 "Save a picture of every page as DIR/<n>-<name>-<page>.png: the bitmap the reader saw, "
                 "each candidate's outline (green decoded, red not) with its index and direction, and the "
                 "grid the reader sampled")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
      ->type_name("DIR");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : kExitError;
  }

  // libtiff messages are collected per file; nothing may reach stderr directly.
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);

  pdf417read::BatchOptions batch;
  batch.jobs = o.jobs > 0 ? o.jobs : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  batch.threshold = o.threshold;
  batch.dumpDirectory = o.dumpDirectory;
  batch.limits.maxFileBytes = o.maxFileBytes;
  batch.limits.maxPages = o.maxPages;
  batch.memoryBudget = o.maxMemory;
  batch.keepBitmaps = !o.inspectDirectory.empty();

  pdf417read::ProgressBar progress(!o.noProgress && isatty(STDERR_FILENO));
  const pdf417read::TextOptions text{o.charset};
  pdf417read::MacroJoiner macros;
  bool anyDecoded = false, anyError = false;
  pdf417read::BatchSink sink;
  sink.fileError = [&](size_t f, const std::string& reason) {
    progress.Clear();
    PrintError(o.files[f], 0, reason);
    anyError = true;
  };
  sink.page = [&](size_t f, int pageCount, const pdf417read::PageOutcome& page) {
    progress.Clear();
    pdf417read::ResultOrigin origin{o.files[f], page.page, pageCount > 1, 0};
    if (!page.error.empty()) {
      PrintError(origin.file, origin.showPage ? origin.page : 0, page.error);
      anyError = true;
      return;
    }
    if (!o.inspectDirectory.empty()) {
      const std::string name = pdf417read::InspectFileName(f, o.files[f], page.page);
      try {
        WriteBytes(o.inspectDirectory + "/" + name, pdf417read::InspectPng(page.bitmap, page.symbols));
      } catch (const std::exception& e) {
        PrintError(name, 0, e.what());
        anyError = true;
      }
    }
    std::string out;
    for (size_t i = 0; i < page.symbols.size(); i++) {
      const auto& symbol = page.symbols[i];
      anyDecoded = anyDecoded || symbol.decoded();
      if (o.decodedOnly && !symbol.decoded()) continue;
      origin.index = static_cast<int>(i);
      if (o.joinMacro) macros.Add(origin, symbol);
      out += o.json ? pdf417read::JsonLine(origin, symbol, text) : pdf417read::TextLine(origin, symbol, text);
      out += '\n';
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
    if (!page.dumpError.empty()) {
      PrintError(origin.file, origin.showPage ? origin.page : 0, page.dumpError);
      anyError = true;
    }
  };
  sink.progress = [&](long done, long total) { progress.Update(done, total); };
  try {
    pdf417read::RunBatch(o.files, batch, sink);
  } catch (const std::exception& e) {  // e.g. no thread could be started
    progress.Clear();
    std::fprintf(stderr, "pdf417read: %s\n", e.what());
    return kExitError;
  }
  progress.Clear();
  for (const pdf417read::MacroMessage& m : macros.Messages()) {
    const std::string line = o.json ? pdf417read::MacroJsonLine(m, text) : pdf417read::MacroTextLine(m, text);
    std::fprintf(stdout, "%s\n", line.c_str());
  }

  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "pdf417read: cannot write the results\n");
    return kExitError;
  }
  if (anyError) return kExitError;
  return anyDecoded ? kExitDecoded : kExitNone;
}
