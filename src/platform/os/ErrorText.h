#pragma once

#include <string>

namespace Dova {

// The system's text for one of its error numbers (errno on Linux, GetLastError or WSAGetLastError on
// Windows), without a trailing line end; "Error N" when the system has none. The language is English on both
// platforms where the system offers it.
std::string SysErrorMessage(int systemError);

}  // namespace Dova
