// --join-macro: the symbols of one Macro PDF417 message (read from any of
// the run's files and pages) put together in segment order.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "output_format.h"
#include "page_reader.h"

namespace pdf417read {

// One message as far as the run's symbols go.
struct MacroMessage {
  std::string fileId;
  int64_t segmentCount = -1;        // from the symbols (a count field, or the last segment); -1 unknown
  std::vector<int32_t> present;     // segment indices read, ascending
  std::vector<int32_t> missing;     // indices below the count (or the highest read) not read
  std::vector<int32_t> conflicts;   // indices read twice with different data (the first is kept)
  bool complete = false;            // every segment of a known count read
  std::vector<uint8_t> data;        // the segments' data in order (complete messages only)
  std::vector<EciMark> ecis;        // with offsets into data
  std::vector<ResultOrigin> parts;  // where each present segment was read
};

// Collects Macro symbols in the order they are reported; a symbol read twice
// (by both searches of a page, or on two pages) counts once.
class MacroJoiner {
 public:
  void Add(const ResultOrigin& origin, const SymbolRecord& symbol);
  // The messages, ordered by file ID.
  std::vector<MacroMessage> Messages() const;

 private:
  struct Segment {
    ResultOrigin origin;
    std::vector<uint8_t> data;
    std::vector<EciMark> ecis;
    bool conflict = false;
  };
  struct Collected {
    int64_t segmentCount = -1;
    int32_t lastIndex = -1;
    std::map<int32_t, Segment> segments;
  };
  std::map<std::string, Collected> messages_;
};

// "MACRO <file id>: <n> of <count> segments[, missing a, b][, conflicting c]"
// and, when complete, ": " and the joined data as text (as TextLine prints
// data).
std::string MacroTextLine(const MacroMessage& message, const TextOptions& options = {});

// {"macro_message": file id, "segment_count", "segments", "missing",
// "conflicts", "complete", "bytes", "text", "eci", "parts": [{file, page,
// index}]} on one line.
std::string MacroJsonLine(const MacroMessage& message, const TextOptions& options = {});

}  // namespace pdf417read
