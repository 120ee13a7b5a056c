#pragma once

#include <string>

namespace Dova {

// The system's text for an error number (errno on Linux, GetLastError or WSAGetLastError on Windows), without
// a trailing line end; "Error N" if there is none. In English on both platforms if the system has English
// texts.
std::string SysErrorMessage(int systemError);

}  // namespace Dova
