#pragma once

#include <string>

namespace Dova {

class TMesBase;

// Events of a messenger. All are raised inside the messenger's synchronised context.
class TMesEvHandler {
 public:
  virtual void OnMesLinkReady(TMesBase*) {}
  // The link could not be opened. Last event.
  virtual void OnMesLinkError(TMesBase*, const std::string& /*reason*/) {}
  // An open link has ended. Last event.
  virtual void OnMesLinkBroken(TMesBase*, const std::string& /*reason*/) {}
  // The send queue is empty: the system has accepted all of it.
  virtual void OnMesSendEmpty(TMesBase*) {}
  // Bytes are waiting for Recv. They are dropped if not fetched inside this event.
  virtual void OnMesRecvReady(TMesBase*) {}
  virtual void OnMesStateChanged(TMesBase*) {}
  virtual void OnMesSetRemark(TMesBase*, const std::string&) {}
  virtual TMesEvHandler* GetClientEvHandler(TMesBase*) { return nullptr; }
  virtual void OnMesClientConnect(TMesBase*, TMesBase* /*client*/) {}
  virtual void OnMesBfDestroy(TMesBase*) {}
  virtual void OnMesLeave(TMesBase*) {}
  virtual void OnMesEnter(TMesBase*) {}
  virtual ~TMesEvHandler() = default;
};

}  // namespace Dova
