#include "unload/Plugin.h"

#include <windows.h>

#include <stdexcept>

namespace TestSupport {

// Windows searches the program's directory.
TPlugin::TPlugin() : module_(LoadLibraryW(L"libtest_unload_plugin.dll")) {
  if (!module_) throw std::runtime_error("the plug-in cannot be loaded");
  const FARPROC found = GetProcAddress(static_cast<HMODULE>(module_), "Plugin_Connect");
  connect_ = reinterpret_cast<void (*)(int)>(reinterpret_cast<void*>(found));
}

TPlugin::~TPlugin() {
  FreeLibrary(static_cast<HMODULE>(module_));
}

}  // namespace TestSupport
