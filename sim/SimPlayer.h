#pragma once

#include <asio.hpp>
#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimDay.h"
#include "sim/SimRejects.h"
#include "sim/SimSeen.h"
#include "sim/SimTimetable.h"

namespace VekSim {

struct SimCore;

/// The effect of the day's rules on one request, or on one step of a handshake.
struct SimPlay {
  std::chrono::microseconds met{};  ///< when it happened: delays of actions count from then
  SimRejection rejection{};
  bool hold = false;                  ///< a new order waits for its fills
  int copies = 1;                     ///< of its acknowledgement
  std::chrono::milliseconds late{0};  ///< of its acknowledgement
  std::vector<SimAction> first{};     ///< done before the answer is sent
  std::vector<SimAction> later{};     ///< done after it, or at their times
};

/// Plays a day's rules, and actions requested by hand. Used on the server's thread only.
class SimPlayer {
 public:
  explicit SimPlayer(SimCore& core);
  void Start();
  void Stop();

  SimPlay Meet(const SimRequest& request);
  SimPlay MeetHandshake(std::string_view step);
  /// Before the answer: link ends, garbage, and other effects on the stream.
  void PlayFirst(const SimPlay& play, int session);
  /// After the answer; `order` is the order's number, if there is one.
  void PlayLater(const SimPlay& play, int session, const std::string& order);

  /// Session 0 stands for all. False if there is no such order, or nothing of it is left.
  bool Do(const SimAction& action, int session, const std::string& order);
  void At(std::chrono::microseconds due, std::function<void()> what);
  /// Performs due actions. With SimConfig::clock there is no other caller.
  void Tick();

 private:
  /// How often a rule's event has occurred.
  struct Counted {
    SimRule rule;
    int met = 0;
  };
  template <class Fits>
  SimPlay Meet(const Fits& fits, bool handshake);
  static void Add(const SimAction& action, bool handshake, SimPlay& play);
  void Repeat(std::size_t rule, std::chrono::microseconds due, int time);
  void DoToLinks(const SimAction& action, int session);
  void Move(const SimAction& action);
  void Burst(const SimAction& action, int session);
  void Arm();

  SimCore& core_;
  std::vector<Counted> rules_;
  std::mt19937 random_;
  SimTimetable timetable_;
  asio::steady_timer timer_;
  bool stopped_ = false;
};

}  // namespace VekSim
