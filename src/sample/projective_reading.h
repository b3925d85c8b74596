// The reading through the symbol's perspective, for photographed symbols:
// the start and stop edges need not be parallel, nor the rows evenly spaced,
// nor the modules of one row equally wide. Tried for a candidate only after
// the readings that trace bar edges have failed, and taken only when its
// decoding is consistent.
//
// The start pattern's outer edge and the left edge of the stop pattern's
// wide bar are found row by row around the candidate's edges (each pixel
// row is tested for the pattern's bar and space widths), and a line is
// fitted to each; where the patterns begin and end on them gives the
// symbol's top and bottom lines, and so the four corners of a projective
// map from (module, row) to region pixels. The row indicators, read on
// every pixel row just inside the two patterns, state the row and column
// counts (the distance between the edges against the two patterns' module
// widths when they do not); then every codeword is measured on three lines
// per row, each codeword against its own 17-module total, and the cells
// the lines agree on are decoded.
#pragma once

#include "sample/symbol_reader.h"

namespace pdf417 {

// Reads the region of params so. Returns true and puts the reading in place
// of result when its decoding is consistent; otherwise leaves result as it
// is and returns false.
bool ReadThroughPerspective(const SymbolReaderParams& params, CorrectionWorkspace& correction, SymbolReading& result);

}  // namespace pdf417
