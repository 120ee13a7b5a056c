#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace VekSim {

/// Faults of one session's byte stream, independent of its content.
struct LinkFaults {
  std::size_t split = 0;       ///< write at most this many bytes at a time; 0: no limit
  int delayMs = 0;             ///< wait this long before each write
  std::int64_t cutAfter = -1;  ///< end the stream after this many more bytes are written; -1: never
  bool stall = false;          ///< stop reading, so that the client's sends back up
  bool silent = false;         ///< read and record, answer nothing
};

/// Events that a fault can be tied to.
enum class SimEvent { Connect, SignOn, PassChange, Request };

enum class FaultKind {
  None,           ///< no fault
  Refuse,         ///< refuse in the event's own way; `text` (UTF-8) is the reason
  Silence,        ///< no answer
  Close,          ///< end the stream instead of answering
  Garbage,        ///< `n` bytes of noise from `seed` before the answer
  WrongLength,    ///< the answer's first header announces `n` bytes
  InnerLength,    ///< the two bytes at offset `n` of the answer (0: at its first inner length) are 0xFF
  CutLong,        ///< the answer's text is sent in pieces of 16 bytes; the stream ends after `n` of them
  EndlessPieces,  ///< code-3 pieces of `n` bytes (1 to 4090) until the link ends
};

struct Fault {
  SimEvent on = SimEvent::Request;
  FaultKind kind = FaultKind::Refuse;
  std::size_t n = 0;
  std::string text{};
  std::uint32_t seed = 1;

  bool Refuses() const { return kind == FaultKind::Refuse; }
};

/// Faults for future events, each applied once: an event takes the oldest fault of its kind, a new session
/// the oldest LinkFaults. Thread-safe.
class SimFaults {
 public:
  void Push(Fault fault);
  void PushLink(const LinkFaults& faults);
  /// Returns a fault of kind None if none is tied to the event.
  Fault Take(SimEvent event);
  std::optional<LinkFaults> TakeLink();
  std::size_t Waiting() const;

 private:
  mutable std::mutex mutex_;
  std::deque<Fault> faults_;
  std::deque<LinkFaults> links_;
};

/// `n` bytes that depend only on `seed`, the same on every platform.
std::string Noise(std::size_t n, std::uint32_t seed);

}  // namespace VekSim
