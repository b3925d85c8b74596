// File names as printed: a name may hold any byte but '/' and NUL, and a
// line feed or another control character in it must not break the one-line
// output. Every line that names a file (stderr messages here; the text
// output's "FILE[:PAGE]:" prefix in output_format.cpp) prints
// EscapeFileName(name).
#pragma once

#include <string>

namespace pdf417read {

// The name with its bytes escaped as the text output escapes data bytes:
// printable ASCII as it is, a backslash as "\\", every other byte "\xNN".
std::string EscapeFileName(const std::string& name);

}  // namespace pdf417read
