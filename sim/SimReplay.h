#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimNote.h"

namespace VekSim {

/// One packet of a recording; its body is not scrambled.
struct SimRecorded {
  bool fromServer = false;
  std::string packet{};
  std::chrono::nanoseconds at{};  ///< for differences
};

struct SimRecording {
  std::vector<std::vector<SimRecorded>> links{};  ///< in the order of their starts
  bool cut = false;                               ///< ends within a record, which is omitted
};

/// Reads a recording; docs/recordings.md describes it. Throws std::runtime_error, "FILE: byte N: words".
SimRecording ReadRecording(std::string_view bytes, const std::string& file);

struct SimReplayConfig {
  std::string host = "127.0.0.1";
  std::uint16_t port = 0;                     ///< 0 lets the system choose
  bool fast = false;                          ///< without the recorded pauses
  std::function<void(const SimNote&)> log{};  ///< on the replay's thread; may be empty
};

/// Plays the server's side of a recording: the n-th accepted link receives what the n-th recorded link
/// received, each packet once the client has sent as many packets as before it, and after the recorded pause.
/// Packets from the client are only counted, except heartbeats. After the last packet the link ends.
///
/// One thread, which has ended when the destructor returns. Methods may be called from any other thread.
class SimReplay {
 public:
  /// Throws std::system_error if it cannot listen on the address.
  SimReplay(SimRecording recording, SimReplayConfig config);
  ~SimReplay();
  SimReplay(const SimReplay&) = delete;
  SimReplay& operator=(const SimReplay&) = delete;

  std::uint16_t Port() const;
  /// Whether all links have been played to their ends, or to those of their clients.
  bool Over() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekSim
