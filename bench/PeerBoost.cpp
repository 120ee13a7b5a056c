// Round trips through two of Boost's lock-free queues in memory shared with a forked process; both ends poll.
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/lockfree/spsc_queue.hpp>
#include <cstdlib>
#include <new>

#include "Trips.h"

namespace {

constexpr std::size_t kTripBytes = 128;
using Ring = boost::lockfree::spsc_queue<char, boost::lockfree::capacity<1 << 16>>;

struct Rings {
  Ring up, down;
};

void Write(Ring& ring, const char* bytes) {
  if (ring.push(bytes, kTripBytes) != kTripBytes) std::exit(3);
}

void Read(Ring& ring, char* bytes) {
  for (std::size_t have = 0; have < kTripBytes;) have += ring.pop(bytes + have, kTripBytes - have);
}

class BoostRings : public Trips {
 public:
  BoostRings()
      : rings_(new (mmap(nullptr, sizeof(Rings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                   Rings),
        child_(fork()) {
    if (child_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (char bytes[kTripBytes];;) {
      Read(rings_->up, bytes);
      Write(rings_->down, bytes);
    }
  }
  ~BoostRings() override {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    munmap(rings_, sizeof(Rings));
  }
  void Run(int count, rows::Series& series) override {
    char bytes[kTripBytes] = {};
    for (int i = 0; i < count; ++i) {
      const auto start = rows::Clock::now();
      Write(rings_->up, bytes);
      Read(rings_->down, bytes);
      series.Call(MicrosecondsSince(start));
    }
  }

 private:
  Rings* const rings_;
  const pid_t child_;
};

const bool kLinked =
    (TripsPeers().push_back({"Boost", [] { return std::unique_ptr<Trips>(std::make_unique<BoostRings>()); }}),
     true);

}  // namespace
