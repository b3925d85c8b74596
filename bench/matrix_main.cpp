// pdf417_matrix: the long end-to-end matrix, a measuring run rather than a
// test. Four directions x module widths 2-6 x EC levels 0-8 x text, numeric
// and byte payloads x 1-30 columns x skews 0, -3 and +2 degrees: every
// factory page goes through the public C API, and a symbol counts as read
// when a result's data (PDF417_GetData) is exactly the payload handed to
// the encoder. Prints the read rate per category; exits 1 when any result
// carries other bytes.
//
//   pdf417_matrix [--every N]   (every N-th case only, for a quick look)
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "factory/page_factory.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::testing;

enum class Outcome { kRead, kMissed, kWrong };

// Reads the page and compares every result's data with the payload.
Outcome ReadCase(const Page& page, const std::string& payload) {
  const std::vector<uint8_t> dib = ToDib(page);
  PDF417_Handle h = PDF417_Init();
  PDF417_ReadDib(h, dib.data(), dib.size());
  Outcome outcome = Outcome::kMissed;
  for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); ++i) {
    const int32_t n = PDF417_GetData(h, i, nullptr, 0);
    if (n < 0) continue;
    std::string data(static_cast<size_t>(n), '\0');
    PDF417_GetData(h, i, reinterpret_cast<unsigned char*>(data.data()), n);
    if (data != payload) {
      outcome = Outcome::kWrong;
      break;
    }
    outcome = Outcome::kRead;
  }
  PDF417_Done(h);
  return outcome;
}

}  // namespace

int main(int argc, char** argv) {
  int every = 1;
  if (argc == 3 && std::strcmp(argv[1], "--every") == 0) every = std::max(1, std::atoi(argv[2]));
  struct Tally {
    int read = 0, missed = 0, wrong = 0;
  };
  std::map<std::string, Tally> tally;
  const char* kinds[3] = {"text", "numeric", "bytes"};
  uint32_t seed = 1;
  int n = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (double mw : {2.0, 3.0, 4.0, 5.0, 6.0})
      for (int ec = 0; ec <= 8; ++ec)
        for (int kind = 0; kind < 3; ++kind)
          for (int columns : {1, 3, 7, 15, 30}) {
            if (mw >= 5 && columns == 30) continue;
            for (double skew : {0.0, -3.0, 2.0}) {
              const int index = n++;
              ++seed;
              if (index % every != 0) continue;
              SymbolOptions o;
              o.ecLevel = ec;
              o.columns = std::max(columns, ec == 8 ? 7 : ec == 7 ? 4 : ec == 6 ? 2 : 1);
              o.moduleWidth = mw;
              o.rowHeight = 2 + index % 4;
              // The payload is shortened until the encoder fits it.
              Page page;
              bool placed = false;
              for (size_t length = static_cast<size_t>(10 + (index * 37) % 600); length >= 1 && !placed;
                   length = length * 2 / 3) {
                o.data = kind == 0   ? TextPayload(length, seed)
                         : kind == 1 ? NumericPayload(length, seed)
                                     : BytePayload(length, seed);
                EncodedSymbol e;
                std::string error;
                if (!EncodeSymbol(o, &e, &error)) continue;
                const double w = (e.widthModules + 8) * mw, h = (e.rows * o.rowHeight + 8) * mw;
                const int side = static_cast<int>(std::hypot(w, h)) + 40;
                page = MakePage(side, side);
                placed = PlaceSymbol(page, o, side / 2.0, side / 2.0, direction, skew);
              }
              if (!placed) continue;
              const Outcome outcome = ReadCase(page, o.data);
              for (const std::string& key :
                   {"direction " + std::to_string(direction), "module " + std::to_string(static_cast<int>(mw)),
                    "skew " + std::to_string(static_cast<int>(skew)), std::string("payload ") + kinds[kind],
                    "ec " + std::to_string(ec), "columns " + std::to_string(columns), std::string("all")}) {
                Tally& t = tally[key];
                (outcome == Outcome::kRead ? t.read : outcome == Outcome::kMissed ? t.missed : t.wrong)++;
              }
            }
          }
  for (const auto& [key, t] : tally) {
    std::printf("%-16s read %5d missed %4d wrong %3d  rate %5.1f%%\n", key.c_str(), t.read, t.missed, t.wrong,
                100.0 * t.read / std::max(1, t.read + t.missed + t.wrong));
  }
  return tally["all"].wrong == 0 ? 0 : 1;
}
