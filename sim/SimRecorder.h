#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "sim/SimWire.h"

namespace VekSim {

/// Writes a recording of a server's links; docs/recordings.md describes the file. Passwords are masked. For
/// one thread. Until Open, and after a failure, nothing is recorded.
class SimRecorder {
 public:
  SimRecorder() = default;
  ~SimRecorder();
  SimRecorder(const SimRecorder&) = delete;
  SimRecorder& operator=(const SimRecorder&) = delete;

  /// Replaces the file. `order` is that of the server's numbers. Throws std::runtime_error.
  void Open(const std::string& path, ByteOrder order);

  // A record survives a kill of this process once the call has returned. These throw std::runtime_error if it
  // could not be written.
  void LinkUp(int link, std::string_view addresses);
  void LinkEnd(int link);
  /// One packet, not scrambled.
  void FromClient(int link, std::string_view packet);
  /// Not scrambled. What is not one packet, such as noise, becomes a note.
  void FromServer(int link, std::string_view bytes);

 private:
  struct Head {
    char kind;
    bool fromServer;
    ByteOrder order;
  };
  void Write(int link, const Head& head, std::string_view content);
  void Close();

  std::string path_;
  ByteOrder order_ = ByteOrder::Little;
  std::FILE* file_ = nullptr;
};

}  // namespace VekSim
