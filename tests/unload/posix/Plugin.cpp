#include "unload/Plugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace TestSupport {
namespace {

// In this program's directory.
std::string PathOfPlugin() {
  char path[4096] = {};
  if (readlink("/proc/self/exe", path, sizeof path - 1) < 0) throw std::runtime_error("no path");
  const std::string program(path);
  return program.substr(0, program.rfind('/')) + "/libtest_unload_plugin.so";
}

}  // namespace

TPlugin::TPlugin() : module_(dlopen(PathOfPlugin().c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (!module_) throw std::runtime_error(dlerror());
  connect_ = reinterpret_cast<void (*)(int)>(dlsym(module_, "Plugin_Connect"));
}

TPlugin::~TPlugin() {
  dlclose(module_);
}

}  // namespace TestSupport
