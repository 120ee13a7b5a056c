#pragma once

#include <string>

namespace Dova {

class TMesBase;

// What a messenger tells its user. Every call comes from inside the messenger's synchronised context.
class TMesEvHandler {
 public:
  virtual void OnMesLinkReady(TMesBase*) {}
  // The link could not be made; there will be no further event.
  virtual void OnMesLinkError(TMesBase*, const std::string& /*reason*/) {}
  // A ready link is gone; there will be no further event.
  virtual void OnMesLinkBroken(TMesBase*, const std::string& /*reason*/) {}
  // What Send had to keep back is with the system now.
  virtual void OnMesSendEmpty(TMesBase*) {}
  // Bytes wait for Recv. They are dropped when nobody fetches them here.
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
