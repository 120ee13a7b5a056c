// Ways of making round trips: a request, and the answer to it.
#pragma once

#include <memory>
#include <vector>

#include "Rows.h"

class Trips {
 public:
  virtual ~Trips() = default;
  // Makes so many round trips, one after the other, and records each one's microseconds.
  virtual void Run(int count, rows::Series& series) = 0;
};

// A way of a library beside ours; made when all are linked.
struct TripsPeer {
  const char* who;
  std::unique_ptr<Trips> (*make)();
};

// Filled before main by the peers that are linked in.
inline std::vector<TripsPeer>& TripsPeers() {
  static std::vector<TripsPeer> peers;
  return peers;
}

inline double MicrosecondsSince(rows::Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(rows::Clock::now() - start).count();
}
