// The script of a run: drawn from its seed, and shortened if it shows a fault.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulation/Net.h"

namespace vektest {

enum class Act {
  Connect,
  Disconnect,
  Delete,  // and create a new one
  Order,   // code 129, not paced
  Query,
  Long,
  ChangePassword,
  Paced,
  PacedMany,
  NewSender,
  Busy,
  kCount,
  // For kept sessions.
  Open = kCount,
  Close,
  Drain,
  EndSession,
  Submit,
  SubmitMany,
  Withdraw,
  Replace,
  Rate,
  Retry
};

struct Step {
  int id = 0;
  Act act = Act::Busy;
  unsigned client = 0;
  unsigned thread = 0;  // of the application, if not inside an event
  Ns at = 0;            // since the start; ascending per thread
  int inside = -1;      // instead: inside the n-th event of `host`
  unsigned host = 0;
  Ns time = 0;                 // of Busy
  bool answersWindow = false;  // instead: from a message sent to the thread while it waits
};

// The script of a server for one link.
struct ServerScript {
  LineScript line;
  bool named = false;
  Ns lookUp = 0;
  std::vector<Net::Attempt> addresses;
  bool big = false;
  int mode = 0;
  std::string key;
  enum Answer { Good, Refused, Never, Twice, Late } hello = Good, signOn = Good;
  Ns late = 0;
  bool replyFirst = false;
  bool echo = true;
  unsigned reports = 0;
  Ns reportGap = kSecond;
  enum Acks { True, Slow, Missing, Doubled, Surplus } acks = True;
  int badPacketAfter = -1;  // reports
  bool hangUp = false;      // after a refusal
};

// The script of a gateway for one link over rings. Times count from the moment the rings are made.
struct GatewayScript {
  LineScript proxy;
  std::uint32_t ring = 65536;  // capacity of each, in bytes
  unsigned gulp = 4096;        // bytes moved at once
  Ns lag = kMs;                // at most, until it moves them
  enum Name { Good, Refused, Never, Late, Wrong } name = Good;
  Ns late = 0;                          // for the right name
  bool echo = true;                     // of heartbeats
  bool tellsRoom = true;                // when it has read
  bool nags = false;                    // sets events for nothing
  Ns pauseFrom = kNever, pauseFor = 0;  // does not read
  Ns dies = kNever;
  Ns corrupts = kNever;
  bool sound = true;
};

struct Story {
  std::uint64_t seed = 0;
  std::set<int> without;  // steps left out
  bool calm = false;      // threads switch only where one waits
  bool plain = false;     // every server behaves
  bool sessions = false;  // kept sessions; otherwise clients
  bool loops = false;     // clients on message loops
  bool rings = false;     // clients, most of whose links use shared memory
  bool crossing = false;  // they end each other inside their events
  bool traced = false;    // and their packets are events, too

  Scheduler::Chances chances;
  unsigned noObject = 0;  // joining a shared object fails, per thousand
  unsigned clients = 1;
  unsigned threads = 1;
  unsigned pace = 5;
  unsigned paceMs = 1000;
  std::vector<Step> steps;

  explicit Story(std::uint64_t which, std::set<int> leftOut = {}, bool calmThreads = false,
                 bool plainServers = false);

  static bool HasSessions(std::uint64_t seed) { return seed % 8 == 7; }
  static bool HasLoops(std::uint64_t seed) { return seed % 8 == 5; }
  static bool HasRings(std::uint64_t seed) { return seed % 16 == 9; }

  // For the link that a step makes; for the n-th link of a run of sessions.
  ServerScript Server(int step) const;
  std::optional<GatewayScript> Gateway(int step) const;  // none: over TCP

  std::string Tell() const;
  static std::string Tell(const ServerScript& server);
  static std::string Tell(const GatewayScript& gateway);
};

const char* Name(Act act);

}  // namespace vektest
