// A TCP proxy between clients and one server that does to their links what networks do.
#pragma once

#include <cstdint>
#include <memory>

namespace Chaos {

// What happened so far.
struct TCounts {
  unsigned links = 0;
  unsigned resets = 0;      // on purpose, both sides
  unsigned halfCloses = 0;  // one side saw an end of the stream too early
  unsigned silences = 0;    // bytes were read and thrown away, then a reset
  unsigned stops = 0;       // nothing was read for a while
  std::uint64_t bytes = 0;  // passed on
};

// Listens on a port of 127.0.0.1 chosen by the system and connects each link to the server's. For each
// direction of each link the seed gives latency, jitter, the size of slices, the bandwidth, and at most one
// fault at any byte. Runs on one thread of its own.
class TProxy {
 public:
  TProxy(std::uint16_t server, unsigned seed);
  ~TProxy();
  TProxy(const TProxy&) = delete;
  TProxy& operator=(const TProxy&) = delete;

  std::uint16_t Port() const;
  // Links accepted from now on have no faults and no delays.
  void Calm();
  TCounts Counts() const;

 private:
  class TImpl;
  const std::unique_ptr<TImpl> impl_;
};

}  // namespace Chaos
