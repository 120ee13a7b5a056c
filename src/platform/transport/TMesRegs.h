#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/transport/TMesBase.h"

namespace Dova {

// Messenger kinds by name. Registration is not thread-safe: register before threads use the registry.
class TMesRegs {
 public:
  using TFactory = Dstl::wise_ref<TMesBase> (*)();

  // The built-in kinds. Tests add theirs before the first session is opened.
  static TMesRegs& GetClientMesRegs();

  // `kind` is a literal. A later registration of the same kind replaces the earlier one.
  void Register(std::string_view kind, TFactory factory);

  // Creates a messenger from "KIND:PARAMETERS"; null if the kind is unknown or the parameters are invalid.
  // `refused` (may be null) then receives the word that is not understood, empty if one is missing.
  Dstl::wise_ref<TMesBase> CreateMes(const std::string& text, std::string* refused = nullptr) const;

 private:
  struct TKind {
    std::string_view name;
    TFactory factory;
  };
  TFactory FactoryOf(std::string_view kind) const;

  std::vector<TKind> kinds_;  // the latest last
};

}  // namespace Dova
