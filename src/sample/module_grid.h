// Grid sampling on a module grid, for symbols whose modules are so narrow
// (about one to two pixels) that a width of one module cannot be told from
// one of two: each element's width is off by up to a pixel, where each edge
// is off by at most half of one. Along every row line a module grid is
// locked onto the colour changes (by phase, then by least squares with each
// change taken as the module boundary nearest to it), every change is moved
// by the mean offset of the changes of its kind (light to dark, dark to
// light: a scan thresholded dark or light shifts them in opposite
// directions) and taken as the boundary nearest to it, and the modules
// between two boundaries get the colour after the first. With modules wider
// than one pixel each change then lands on its own boundary whenever the
// grid is within half a module less half a pixel of the true one, which a
// fit over a row's hundred-odd changes is.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "image/bit_image.h"
#include "sample/grid_sampling.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// The module width of a symbol of k codeword columns: the median of the
// widths its row lines left[i] -> right[i] lock onto (0 when none does or
// storage runs out). Every row of a symbol has the same module width, while
// one line's changes may lock onto a wrong one.
double SymbolModuleWidth(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t k,
                         SamplingWorkspace& ws);

// Reads the row line a -> b of k codeword columns (from the start of the
// left row indicator to the start of the stop pattern) on its module grid,
// with the given module width (0: locked per line), into cells[0..k-1]: a
// cell whose 17 modules are a symbol character gets it as its one
// candidate, any other cell none (every cell none when the line cannot be
// read). k is at most kMaxGridColumns.
void ReadRowOnModuleGrid(const BitImage& image, Point a, Point b, int32_t k, double width, SamplingWorkspace& ws,
                         CodewordCell* cells);

}  // namespace pdf417
