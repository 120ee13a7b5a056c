#pragma once

#include "shmem/TShMemChannel.h"
#include "simulation/World.h"

namespace vektest {

// The gateway of one link: the far end of its proxy link, which carries bytes between its side of two rings
// and a line to the server, and misbehaves as its script says. Runs on no thread.
class Gateway final : public Far {
 public:
  Gateway(World& world, int link, const GatewayScript& script, Line& proxy, Line& server);
  ~Gateway() override;

  void OnBytes(std::string_view bytes) override;
  void OnFinished() override;

  // Bytes from the client that have not been passed on.
  std::size_t Behind() const;
  bool MayBlame(const std::string& reason) const;  // for the end of the link
  bool MissesHeartbeat(Ns lastEvent) const;

 private:
  void Later(Ns least, Ns most, std::function<void()> what);
  void OnLine(const std::string& line);
  void OnNameRequest();
  void OnHeartbeat();
  void TellName();
  bool MakeRings();
  void Wake();
  void Pump();
  bool Paused() const;
  bool ToServer();
  bool ToClient();
  void Tell(Dova::Os::TNamedEvent& event);
  void Nag();
  void Corrupt();
  void Die(Cut how);
  void Stop(Ns overIn);

  World& world_;
  const int link_;
  const GatewayScript script_;
  Line& proxy_;
  Line& server_;
  Draw draw_;
  std::string lines_;
  std::string rest_;  // read from the ring, not yet taken by the line to the server
  const std::string base_;
  Dova::TShMemChannel fromClient_, toClient_;
  // Used instead of the channels' own, to choose when an event is set.
  Dova::TShMemRing in_, out_;
  Ns made_ = kNever;
  Ns lastHeartbeat_ = kNever;
  bool waking_ = false;
  bool stopped_ = false;  // moves nothing any more
};

}  // namespace vektest
