#pragma once

#include "platform/transport/TMesBase.h"

namespace Dova {

// A messenger that uses another one, its proxy link, in the same context. The derived class defines the
// purpose of the link, and what happens if it cannot be opened or breaks.
class TMesProxy : public TMesBase, public TMesEvHandler {
 public:
  bool Open() override;
  void Close() override;

  int LinkTimeoutMs() const override;
  std::size_t MaxMessageBytes() const override;
  std::size_t SendQueueBytes() const override;

  void OnMesLinkError(TMesBase*, const std::string& reason) override;
  void OnMesLinkBroken(TMesBase*, const std::string& reason) override;

 protected:
  ~TMesProxy() override;

  // Replaces the previous one. From inside the context, or before Open.
  void SetInner(Dstl::wise_ref<TMesBase> inner);
  TMesBase* Inner() const { return inner_.get(); }

  // The proxy link could not be opened, or has ended. From inside the context.
  virtual void OnInnerGone(const std::string& reason) = 0;

 private:
  Dstl::wise_ref<TMesBase> inner_;
};

}  // namespace Dova
