#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace VekSim {

/// Session numbers count from 1 in the order in which links were accepted.
struct SimPacket {
  int session = 0;
  int code = 0;
  std::string body{};  ///< after the header, descrambled
  std::string raw{};   ///< the whole packet as received
  std::chrono::microseconds at{};
};

struct SimConnect {
  int session = 0;
  std::string name{};
  std::array<std::uint16_t, 4> version{};
  std::string kindLine{};
};

struct SimSignOn {
  int session = 0;
  std::string identity{};
  std::string password{};
  bool accepted = false;
};

struct SimPassChange {
  int session = 0;
  std::string user, oldPass, newPass;
  bool accepted = false;
};

/// One request: a whole message of code 128, or one pair of lines of a code-129 batch.
struct SimRequest {
  int session = 0;
  int code = 0;
  std::string workId{};
  std::string verb{};
  std::map<std::string, std::string> args{};
  std::string text{};  ///< as received
  std::chrono::microseconds at{};
};

enum class TimeInForce : char {
  RestOfDay = 'R',          ///< ROD: the quantity not traded at once rests
  ImmediateOrCancel = 'I',  ///< IOC: the quantity not traded at once is cancelled
  FillOrKill = 'F',         ///< FOK: trades whole at once, or is cancelled
};

struct SimOrder {
  int session = 0;
  std::string number{};
  std::string workId{};
  std::string account{};
  std::string product{};
  char side = 'B';  ///< 'B' or 'S'
  int quantity = 0;
  int filled = 0;
  int cancelled = 0;
  int price = 0;  ///< in ticks of a hundredth; 0 for a market order
  TimeInForce force = TimeInForce::RestOfDay;
  bool held = false;               ///< the market does not trade it: only a script or the page does
  int rejectCode = 0;              ///< not 0: the exchange rejected the remaining quantity
  unsigned rank = 0;               ///< lower trades first at the same price
  std::chrono::microseconds at{};  ///< time of day of its acceptance
};

/// What a server has received since it started, or since the last Forget(). A plain value: copies do not
/// change.
struct SimSeen {
  std::vector<SimPacket> packets{};  ///< all codes, in arrival order; empty if SimConfig::keepPackets is off
  std::vector<SimConnect> connects{};
  std::vector<SimSignOn> signOns{};
  std::vector<SimPassChange> passChanges{};
  std::vector<SimRequest> requests{};  ///< likewise
  std::vector<SimOrder> orders{};      ///< in order of acceptance
  std::map<int, bool> signedOn{};      ///< open sessions; true once signed on
  std::size_t sessions = 0;            ///< links ever accepted
  std::size_t closed = 0;              ///< links that ended, on either side
  std::size_t packetCount = 0;         ///< counted even if packets are not kept
  std::size_t requestCount = 0;
  std::size_t batches = 0;            ///< code-129 messages
  std::size_t heartbeats = 0;         ///< received
  std::size_t queryViolations = 0;    ///< code-128 arrivals above SimConfig::queryRate
  std::size_t requestViolations = 0;  ///< code-129 arrivals above SimConfig::requestRate
  std::size_t broken = 0;             ///< links ended by a length below 3
  std::string failure{};              ///< not empty: the server gave up, and why
  std::size_t strays = 0;             ///< requests before sign-on, and bodies shorter than their lengths
};

}  // namespace VekSim
