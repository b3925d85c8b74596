#include "file_name.h"

#include <cstdint>
#include <span>

#include "output_format.h"

namespace pdf417read {

std::string EscapeFileName(const std::string& name) {
  return EscapeBytes(std::span(reinterpret_cast<const uint8_t*>(name.data()), name.size()));
}

}  // namespace pdf417read
