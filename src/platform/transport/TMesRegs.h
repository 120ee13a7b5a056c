#pragma once

#include <map>
#include <string>

#include "platform/transport/TMesBase.h"

namespace Dova {

// Messenger kinds by name. Registration is not thread-safe: register before threads use the registry.
class TMesRegs {
 public:
  using TFactory = Dstl::wise_ref<TMesBase> (*)();

  // The built-in kinds. Tests add theirs before the first session is opened.
  static TMesRegs& GetClientMesRegs();

  // A later registration of the same kind replaces the earlier one.
  void Register(const std::string& kind, TFactory factory) { factories_[kind] = factory; }

  // Creates a messenger from "KIND:PARAMETERS"; null if the kind is unknown or the parameters are invalid.
  // `refused` (may be null) then receives the word that is not understood, empty if one is missing.
  Dstl::wise_ref<TMesBase> CreateMes(const std::string& text, std::string* refused = nullptr) const;

 private:
  std::map<std::string, TFactory> factories_;
};

}  // namespace Dova
