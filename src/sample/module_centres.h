// Grid sampling at module centres, for symbols whose modules are so narrow
// (about one to two pixels) that a width of one module cannot be told from
// one of two: each element's width is off by up to a pixel, where each edge
// is off by at most half of one. Along every row line the module grid is
// locked onto the colour changes (module width and offset fitted by least
// squares to the changes, each change taken as the module boundary nearest
// to it), and every module is read from the pixel at its centre. With
// modules wider than one pixel the centre pixel lies inside its module
// whenever the fitted grid is within half a module less half a pixel of the
// true one, which a fit over a row's hundred-odd changes is.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "image/bit_image.h"
#include "sample/grid_sampling.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// The modules along a -> b, which runs from the start of the left row
// indicator to the start of the stop pattern: `modules` (17 per codeword
// column) module colours (1 = dark) into bits, on the grid locked onto the
// line's colour changes; with width > 0 the module width is taken as given
// and only the grid's offset is locked. Returns false, bits untouched, when
// the line leaves the image, has too few colour changes to lock onto or a
// grid whose module width is more than a tenth off the line's length over
// `modules`.
bool ReadModulesAlong(const BitImage& image, Point a, Point b, int32_t modules, double width, SamplingWorkspace& ws,
                      uint8_t* bits);

// The width pattern (eight digits) of 17 module colours, when they are a
// bar first, a space last and eight runs of one to six modules: a
// candidate; returns false otherwise.
bool PatternOfModules(const uint8_t* bits, char* digits);

// The module width of a symbol of k codeword columns: the median of the
// widths its row lines left[i] -> right[i] lock onto (0 when none does or
// storage runs out). Every row of a symbol has the same module width, while
// one line's changes may lock onto a wrong one.
double SymbolModuleWidth(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t k,
                         SamplingWorkspace& ws);

// Reads the row line a -> b of k codeword columns (from the start of the
// left row indicator to the start of the stop pattern) at module centres,
// with the given module width (0: locked per line), into cells[0..k-1]: a
// cell whose 17 modules are a symbol character gets it as its one
// candidate, any other cell none (every cell none when the line cannot be
// read). k is at most kMaxGridColumns.
void ReadRowAtModuleCentres(const BitImage& image, Point a, Point b, int32_t k, double width, SamplingWorkspace& ws,
                            CodewordCell* cells);

}  // namespace pdf417
