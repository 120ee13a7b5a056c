#pragma once

namespace TestSupport {

// Loads the plug-in for its lifetime.
class TPlugin {
 public:
  TPlugin();
  ~TPlugin();
  TPlugin(const TPlugin&) = delete;
  TPlugin& operator=(const TPlugin&) = delete;

  void Connect(int port) { connect_(port); }

 private:
  void* module_;
  void (*connect_)(int port);
};

}  // namespace TestSupport
