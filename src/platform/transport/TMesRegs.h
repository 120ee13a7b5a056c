#pragma once

#include <map>
#include <string>

#include "platform/transport/TMesBase.h"

namespace Dova {

// Kinds of messengers by name. Registering is not synchronised: do it before threads use the registry.
class TMesRegs {
 public:
  using TFactory = Dstl::wise_ref<TMesBase> (*)();

  // The kinds that the runtime brings along. Tests add theirs before the first session is opened.
  static TMesRegs& GetClientMesRegs();

  // A later registration of the same kind wins.
  void Register(const std::string& kind, TFactory factory) { factories_[kind] = factory; }

  // Makes a messenger from "KIND:PARAMETERS"; null when the kind is unknown or refuses the parameters.
  Dstl::wise_ref<TMesBase> CreateMes(const std::string& text) const;

 private:
  std::map<std::string, TFactory> factories_;
};

}  // namespace Dova
