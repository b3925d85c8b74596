// --inspect: a picture of what the reader saw on a page and what it did
// there, for looking into a page that did not read as expected.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "page_reader.h"

namespace pdf417read {

// Draws the page as handed to the library (the BMP file of a 1-bit DIB or
// of 8-bit grey pixels, as PageOutcome::bitmap holds it) lightened,
// and over it, for every result: the candidate's outline from its corners
// (green when it decoded, red with a "?" when not), its index and
// direction, and where the reader sampled it: the outline, the grid of rows
// and codeword columns and an arrow from the start side towards the stop
// side. The top left corner names the page's counts. Returns a PNG file
// (16-colour palette). Throws ImageError for a file that is neither.
std::vector<uint8_t> InspectPng(std::span<const uint8_t> bmpFile, const std::vector<SymbolRecord>& symbols);

// The --inspect file of a page: the --dump-bitmaps name with ".png".
std::string InspectFileName(size_t file, const std::string& path, int page);

}  // namespace pdf417read
