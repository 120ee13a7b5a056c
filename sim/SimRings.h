#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/os/NamedEvent.h"
#include "platform/os/NamedMapping.h"

namespace VekSim {

/// The gateway's side of one shared-memory link: creates both rings, reads the client's bytes and writes
/// those for the client. Implemented from the layout alone; of the library it uses only the operating system
/// layer.
///
/// One thread may read and write while another waits.
class SimRings {
 public:
  static constexpr unsigned kData = 1;   ///< the client has written
  static constexpr unsigned kSpace = 2;  ///< the client has freed space
  static constexpr int kBroken = -1;

  SimRings() = default;
  ~SimRings() { Close(); }
  SimRings(const SimRings&) = delete;
  SimRings& operator=(const SimRings&) = delete;

  /// Creates rings with a capacity of `bytes` each; BaseName() is then the name for the client. Returns false
  /// on failure; Error() is the system's code.
  bool Create(const std::string& baseName, std::uint32_t bytes);
  void Close();
  int Error() const { return error_; }
  const std::string& BaseName() const { return baseName_; }

  /// Moves what is available, or what fits: the count, 0, or kBroken if the client has corrupted the ring. A
  /// call that moves bytes wakes the client.
  int Read(char* buffer, std::size_t size);
  int Write(const char* bytes, std::size_t length);

  /// Returns kData, kSpace or both; 0 after timeoutMs (negative: no limit) or Stop. Without `wantsSpace`,
  /// freed space is reported with the next data.
  unsigned Wait(int timeoutMs = -1, bool wantsSpace = true);
  /// Thread-safe: the current and all later calls of Wait return.
  void Stop();
  /// How long Wait polls before it sleeps, in microseconds.
  void SetSpin(int us) { spinUs_ = us; }

  /// For tests that corrupt the memory: header and data of each ring.
  std::byte* FromClient() { return fromClient_.mapping.View(); }
  std::byte* ToClient() { return toClient_.mapping.View(); }
  void WakeClient();

 private:
  struct Ring {
    Dova::Os::TNamedMapping mapping;
    Dova::Os::TNamedEvent readable;
    Dova::Os::TNamedEvent writable;
    std::uint32_t capacity = 0;
    std::uint32_t at = 0;  ///< our own index; the copy in the memory is for the client
  };
  int Make(Ring& ring, const std::string& name, std::uint32_t bytes);
  bool MakeBoth(const std::string& baseName, std::uint32_t bytes);
  void HideNames();
  bool HasNewData();
  unsigned Poll(bool wantsSpace);

  std::string baseName_;
  int error_ = 0;
  int spinUs_ = 0;
  bool joined_ = false;     ///< the client has written
  std::uint32_t told_ = 0;  ///< the client's index at the last Poll; used by the waiting thread
  Ring fromClient_;
  Ring toClient_;
  std::atomic<std::size_t> moved_{0};  ///< bytes since the last wait
  Dova::Os::TNamedEventWait wait_;
};

}  // namespace VekSim
