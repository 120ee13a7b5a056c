#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimCore.h"
#include "sim/SimLink.h"
#include "sim/SimRateWatch.h"
#include "sim/SimUsers.h"

namespace VekSim {

/// One client's conversation: receives packets, sends answers. Used on the server's thread only.
class SimSession : public std::enable_shared_from_this<SimSession> {
 public:
  SimSession(SimCore& core, int id, std::shared_ptr<SimLink> link);
  void Start();

  int Id() const { return id_; }
  const std::optional<SimLogin>& Login() const { return login_; }
  SimLink& Link() { return *link_; }

  /// Scrambles (except the connect result) and queues one packet.
  void Send(std::string packet);
  void SendText(int code, std::string_view text);
  /// Queues the bytes unchanged.
  void SendRaw(std::string_view bytes);

 private:
  void OnBytes(std::string_view bytes);
  void OnPacket(std::string packet);
  void OnMessage(int code, std::string text);
  void OnClosed();

  void OnConnect(std::string_view packet);
  void OnSignOn(std::string_view packet);
  void OnPassChange(std::string_view packet);
  void OnTask(SimRequest request);
  void OnBatch(const std::string& text);
  /// Timestamps and records a request; true if it was within the rate.
  bool Arrived(SimRequest& request, int code);
  /// The text of the answer to a request, and the request's outcome.
  struct Done {
    SimPlay play;
    SimTrade trade;
    std::string text;
  };
  Done Carry(SimRequest& request, int code, const Fault& fault);
  std::string ResultOf(const SimRequest& request, Done& done);
  static std::string AckOf(const SimRequest& request, const SimTrade& trade);
  void Acknowledge(const std::vector<Done>& all, const Fault& fault);
  SimTrade Trade(const SimRequest& request, const SimPlay& play);
  SimRejection Refusal(const Fault& fault, bool inRate, const SimPlay& play) const;
  void SendLate(const SimPlay& play, std::vector<std::string> packets);
  void Follow(const std::vector<Done>& all);
  /// The queued fault of an event, or the refusal required by the day's rules.
  Fault FaultOf(SimEvent event, const SimPlay& play);
  void Finish(const SimPlay& play, std::vector<std::string> packets, const Fault& fault);
  std::string SignOnText() const;

  void Answer(std::vector<std::string> packets, const Fault& fault);
  void CutLong(const std::vector<std::string>& packets, std::size_t pieces);
  void SendPiece();
  void BeatSoon();
  void Stray();

  SimCore& core_;
  const int id_;
  const std::shared_ptr<SimLink> link_;
  asio::steady_timer beat_;
  PacketCutter cutter_;
  std::string pieces_;  ///< code-3 texts of a long request so far
  std::optional<SimLogin> login_;
  RateWatch queryWatch_;
  RateWatch requestWatch_;
  std::size_t endless_ = 0;  ///< size of the pieces of a message that never ends
};

}  // namespace VekSim
