#include "macro_join.h"

#include <nlohmann/json.hpp>

#include "charset.h"

namespace pdf417read {

void MacroJoiner::Add(const ResultOrigin& origin, const SymbolRecord& symbol) {
  if (!symbol.decoded() || !symbol.macro) return;
  const MacroInfo& m = *symbol.macro;
  Collected& c = messages_[m.fileId.value_or("")];
  if (m.segmentCount > 0) c.segmentCount = m.segmentCount;
  if (m.lastSegment) c.lastIndex = m.segmentIndex;
  auto [it, inserted] = c.segments.try_emplace(m.segmentIndex, Segment{origin, symbol.data, symbol.ecis, false});
  if (!inserted && (it->second.data != symbol.data || it->second.ecis.size() != symbol.ecis.size())) {
    it->second.conflict = true;
  }
}

std::vector<MacroMessage> MacroJoiner::Messages() const {
  std::vector<MacroMessage> out;
  for (const auto& [fileId, c] : messages_) {
    MacroMessage m;
    m.fileId = fileId;
    m.segmentCount = c.segmentCount > 0 ? c.segmentCount : (c.lastIndex >= 0 ? c.lastIndex + 1 : -1);
    const int64_t upTo = m.segmentCount > 0 ? m.segmentCount : (c.segments.rbegin()->first + 1);
    for (int64_t i = 0; i < upTo && i <= INT32_MAX; ++i) {
      if (!c.segments.count(static_cast<int32_t>(i))) m.missing.push_back(static_cast<int32_t>(i));
    }
    for (const auto& [index, s] : c.segments) {
      m.present.push_back(index);
      m.parts.push_back(s.origin);
      if (s.conflict) m.conflicts.push_back(index);
    }
    m.complete = m.segmentCount > 0 && m.missing.empty() && m.conflicts.empty() &&
                 static_cast<int64_t>(m.present.size()) == m.segmentCount;
    if (m.complete) {
      for (const auto& [index, s] : c.segments) {
        for (EciMark e : s.ecis) {
          e.offset += static_cast<int32_t>(m.data.size());
          m.ecis.push_back(e);
        }
        m.data.insert(m.data.end(), s.data.begin(), s.data.end());
      }
    }
    out.push_back(std::move(m));
  }
  return out;
}

namespace {

std::string List(const std::vector<int32_t>& indices) {
  std::string s;
  for (size_t i = 0; i < indices.size(); ++i) s.append(i ? ", " : "").append(std::to_string(indices[i]));
  return s;
}

}  // namespace

std::string MacroTextLine(const MacroMessage& m, const TextOptions& options) {
  std::string line = "MACRO ";
  line.append(EscapeControls(m.fileId)).append(": ").append(std::to_string(m.present.size())).append(" of ");
  line.append(m.segmentCount > 0 ? std::to_string(m.segmentCount) : std::string("?")).append(" segments");
  if (!m.missing.empty()) line.append(", missing ").append(List(m.missing));
  if (!m.conflicts.empty()) line.append(", conflicting ").append(List(m.conflicts));
  if (!m.complete) return line;
  const std::optional<std::string> text = DataAsUtf8(m.data, m.ecis, options.defaultCharset);
  return line.append(": ").append(text ? EscapeControls(*text) : EscapeBytes(m.data));
}

std::string MacroJsonLine(const MacroMessage& m, const TextOptions& options) {
  nlohmann::ordered_json j;
  j["macro_message"] = m.fileId;
  j["segment_count"] = m.segmentCount > 0 ? nlohmann::ordered_json(m.segmentCount) : nlohmann::ordered_json(nullptr);
  j["segments"] = m.present;
  j["missing"] = m.missing;
  j["conflicts"] = m.conflicts;
  j["complete"] = m.complete;
  j["bytes"] = Base64(m.data);
  const std::optional<std::string> text =
      m.complete ? DataAsUtf8(m.data, m.ecis, options.defaultCharset) : std::nullopt;
  j["text"] = text ? nlohmann::ordered_json(*text) : nlohmann::ordered_json(nullptr);
  j["eci"] = nlohmann::ordered_json::array();
  for (const EciMark& e : m.ecis) j["eci"].push_back({{"designator", e.designator}, {"offset", e.offset}});
  j["parts"] = nlohmann::ordered_json::array();
  for (const ResultOrigin& o : m.parts) j["parts"].push_back({{"file", o.file}, {"page", o.page}, {"index", o.index}});
  return j.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

}  // namespace pdf417read
