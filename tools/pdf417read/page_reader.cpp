#include "page_reader.h"

#include <pdf417/pdf417.h>

#include <algorithm>
#include <memory>

namespace pdf417read {
namespace {

struct BlockFree {
  void operator()(PDF417_MemoryBlock* b) const { PDF417_BlockFree(b); }
};
struct HandleDone {
  void operator()(PDF417_Reader* h) const { PDF417_Done(h); }
};

// The most bytes a result's classic text can have.
constexpr int32_t kMaxTextLength = 2000;

std::optional<std::string> MacroField(PDF417_Reader* h, int32_t i, int32_t field) {
  const int32_t n = PDF417_GetMacroField(h, i, field, nullptr, 0);
  if (n < 0) return std::nullopt;
  std::string s(static_cast<size_t>(n), '\0');
  PDF417_GetMacroField(h, i, field, s.data(), n);
  return s;
}

void CopyData(PDF417_Reader* h, int32_t i, SymbolRecord& r) {
  const int32_t size = PDF417_GetData(h, i, nullptr, 0);
  r.hasData = size >= 0;
  if (!r.hasData) return;
  r.data.resize(static_cast<size_t>(size));
  PDF417_GetData(h, i, r.data.data(), size);
  for (int32_t k = 0; k < PDF417_GetEciCount(h, i); k++) {
    EciMark m;
    PDF417_GetEci(h, i, k, &m.designator, &m.offset);
    r.ecis.push_back(m);
  }
  r.readerInit = PDF417_GetReaderInit(h, i) == 1;
  PDF417_Macro macro{};
  macro.size = sizeof macro;
  if (PDF417_GetMacro(h, i, &macro) == 1) {
    MacroInfo m;
    m.segmentIndex = macro.segmentIndex;
    m.lastSegment = macro.lastSegment == 1;
    m.segmentCount = macro.segmentCount;
    m.timeStamp = macro.timeStamp;
    m.fileSize = macro.fileSize;
    m.checksum = macro.checksum;
    m.fileId = MacroField(h, i, PDF417_MACRO_FILE_ID);
    m.fileName = MacroField(h, i, PDF417_MACRO_FILE_NAME);
    m.sender = MacroField(h, i, PDF417_MACRO_SENDER);
    m.addressee = MacroField(h, i, PDF417_MACRO_ADDRESSEE);
    r.macro = std::move(m);
  }
}

}  // namespace

namespace {

// Every result of the handle's latest read.
std::vector<SymbolRecord> CollectRecords(PDF417_Reader* h) {
  std::vector<SymbolRecord> records;
  const int32_t count = PDF417_GetNumBarcodes(h);
  records.reserve(static_cast<size_t>(std::max(count, 0)));
  for (int32_t i = 0; i < count; i++) {
    SymbolRecord r;
    unsigned char text[kMaxTextLength];
    int32_t length = 0;
    PDF417_GetSymbolText(h, i, &length, text);
    r.classicText.assign(text, text + std::clamp(length, int32_t{0}, kMaxTextLength));
    CopyData(h, i, r);
    auto& c = r.corners;
    PDF417_GetCoordinates(h, i, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
    r.direction = PDF417_GetDirection(h, i);
    r.errorCorrection = PDF417_GetErrorCorrectionLevel(h, i);
    r.mode = PDF417_GetMode(h, i);
    r.confidence = PDF417_GetConfidence(h, i);
    PDF417_Geometry geometry{};
    geometry.size = sizeof geometry;
    if (PDF417_GetGeometry(h, i, &geometry) == 0 && geometry.rows > 0) {
      r.grid.rows = geometry.rows;
      r.grid.columns = geometry.columns;
      std::copy(std::begin(geometry.outline), std::end(geometry.outline), r.grid.outline.begin());
    }
    records.push_back(std::move(r));
  }
  return records;
}

std::unique_ptr<PDF417_Reader, HandleDone> NewHandle() {
  std::unique_ptr<PDF417_Reader, HandleDone> handle(PDF417_Init());
  if (!handle) throw ReadError("out of memory (reader handle)");
  return handle;
}

}  // namespace

std::vector<SymbolRecord> ReadPageBlock(size_t size, const std::function<void(std::span<uint8_t>)>& fill) {
  std::unique_ptr<PDF417_MemoryBlock, BlockFree> block(PDF417_BlockAlloc(size));
  if (!block) throw ReadError("out of memory (bitmap block)");
  auto* bytes = static_cast<uint8_t*>(PDF417_BlockLock(block.get()));
  if (!bytes && size != 0) throw ReadError("cannot lock bitmap block");
  fill(std::span<uint8_t>(bytes, size));
  PDF417_BlockUnlock(block.get());

  const auto handle = NewHandle();
  if (PDF417_Read(handle.get(), block.get()) != 0) throw ReadError("out of memory (results)");
  block.reset();  // the results live in the handle
  return CollectRecords(handle.get());
}

std::vector<SymbolRecord> ReadGreyPixels(const uint8_t* pixels, int width, int height) {
  const auto handle = NewHandle();
  if (PDF417_ReadGrey(handle.get(), pixels, width, height, width) != 0) throw ReadError("out of memory (results)");
  return CollectRecords(handle.get());
}

}  // namespace pdf417read
