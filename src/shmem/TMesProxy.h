#pragma once

#include "platform/mbus/TMesBase.h"

namespace Dova {

// A messenger that stands in front of another one, its proxy link, and lives in the same context. The derived
// class says what the link is for; that it cannot be made, or breaks, ends this messenger as well.
class TMesProxy : public TMesBase, public TMesEvHandler {
 public:
  bool Open() override;
  void Close() override;

  void OnMesLinkError(TMesBase*, const std::string& reason) override;
  void OnMesLinkBroken(TMesBase*, const std::string& reason) override;

 protected:
  ~TMesProxy() override;

  // Takes the place of the one before. From inside the context, or before Open.
  void SetInner(Dstl::wise_ref<TMesBase> inner);
  TMesBase* Inner() const { return inner_.get(); }

  // What becomes of this messenger's own link when the proxy link is gone. True: it was ready.
  virtual bool OnInnerLost() = 0;

 private:
  Dstl::wise_ref<TMesBase> inner_;
};

}  // namespace Dova
