#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/os/NamedEvent.h"
#include "platform/os/NamedMapping.h"

namespace VekSim {

/// The gateway's side of one shared-memory link: creates both rings, reads what the client sends and writes
/// what it is to receive. Written from the layout alone; of the library it uses only what the system offers.
///
/// One thread may read and write while another waits.
class SimRings {
 public:
  static constexpr unsigned kData = 1;   ///< the client has written
  static constexpr unsigned kSpace = 2;  ///< the client has made room
  static constexpr int kBroken = -1;

  SimRings() = default;
  ~SimRings() { Close(); }
  SimRings(const SimRings&) = delete;
  SimRings& operator=(const SimRings&) = delete;

  /// Rings that take `bytes` bytes each; BaseName() is then what the client must be told. False when the
  /// system refuses; Error() is its code.
  bool Create(const std::string& baseName, std::uint32_t bytes);
  void Close();
  int Error() const { return error_; }
  const std::string& BaseName() const { return baseName_; }

  /// What is there, or what fits: the count, 0, or kBroken when the client has spoilt the ring. Each call
  /// that moves bytes wakes the client.
  int Read(char* buffer, std::size_t size);
  int Write(const char* bytes, std::size_t length);

  /// kData, kSpace, both; 0 after timeoutMs (negative: never) or Stop.
  /// Without `wantsSpace` room that is made meanwhile is told with the next data.
  unsigned Wait(int timeoutMs = -1, bool wantsSpace = true);
  /// From any thread: Wait ends, and every later one.
  void Stop();
  /// So long Wait polls before it sleeps, in microseconds.
  void SetSpin(int us) { spinUs_ = us; }

  /// For tests that spoil them: header and data as they lie there.
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
  std::uint32_t told_ = 0;  ///< the client's index when Poll last looked; the waiting thread's
  Ring fromClient_;
  Ring toClient_;
  std::atomic<std::size_t> moved_{0};  ///< bytes, since the last wait
  Dova::Os::TNamedEventWait wait_;
};

}  // namespace VekSim
