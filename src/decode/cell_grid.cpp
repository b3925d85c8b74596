#include "decode/cell_grid.h"

#include "support/alloc.h"

namespace pdf417 {

void FreeCellGrid(CellGrid& grid) {
  FreeBytes(grid.cells);
  grid.cells = nullptr;
  grid.count = 0;
}

}  // namespace pdf417
