#pragma once

#include "sim/SimWire.h"
#include "simulation/World.h"

namespace vektest {

// The far end of one link: follows its script, records what it sends, and checks what it receives.
class Server final : public Far {
 public:
  Server(World& world, int link, ServerScript script, Line& line);

  void OnBytes(std::string_view bytes) override;
  void OnFinished() override;

  // The code of the incomplete next packet, 0 if not yet known. Sends no answer.
  int TakeRest(std::string_view bytes);
  // The start of a message.
  std::string Half() const;

  bool SignedOn() const { return reporting_; }
  Ns LastBytes() const { return lastBytes_; }
  bool AcksAll() const { return script_.acks == ServerScript::True; }

 private:
  void OnPacket(const std::string& packet);
  void OnSession(const std::string& packet);
  void OnSignOn();
  void OnText(int code, const std::string& text);
  void OnBatch(const std::string& text);
  std::optional<std::string> TextOf(const std::string& packet);
  std::string Descrambled(std::string packet) const;

  void Later(Ns least, Ns most, std::function<void()> what);
  void Send(std::string packet, const std::string& expected = {});
  void SendText(int code, const std::string& text, const std::string& expected);
  void SendHello(bool refuse);
  void SendSignOn(bool refuse);
  void SendReport();
  void SendAck(Ns at, const std::string& text);
  void Acknowledge(const std::vector<std::string>& requests);
  void HangUp();
  std::string Mark();

  World& world_;
  const int link_;
  const ServerScript script_;
  const VekSim::ByteOrder order_;
  Line& line_;
  Draw draw_;
  VekSim::PacketCutter cutter_;
  std::string pieces_;
  bool greeted_ = false;   // the connect request was received
  bool answered_ = false;  // the connect result was sent
  int signOns_ = 0;
  bool reporting_ = false;
  bool ended_ = false;
  unsigned marks_ = 0;
  Ns lastBytes_;
  Ns lastAck_ = 0;  // they are sent in order
};

}  // namespace vektest
