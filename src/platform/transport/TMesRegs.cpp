#include "platform/transport/TMesRegs.h"

#include <algorithm>

#include "platform/transport/TCPClient.h"

namespace Dova {

TMesRegs& TMesRegs::GetClientMesRegs() {
  // Never destroyed: threads may still create messengers while the process ends.
  static TMesRegs& regs = *[] {
    auto* made = new TMesRegs;
    made->Register("TCPClient", [] { return Dstl::wise_ref<TMesBase>(new TCPClient); });
    return made;
  }();
  return regs;
}

void TMesRegs::Register(std::string_view kind, TFactory factory) {
  kinds_.push_back({kind, factory});
}

// Null if there is none.
TMesRegs::TFactory TMesRegs::FactoryOf(std::string_view kind) const {
  const auto found =
      std::find_if(kinds_.rbegin(), kinds_.rend(), [=](const TKind& own) { return own.name == kind; });
  return found == kinds_.rend() ? nullptr : found->factory;
}

Dstl::wise_ref<TMesBase> TMesRegs::CreateMes(const std::string& text, std::string* refused) const {
  const std::size_t colon = text.find(':');
  const std::string kind = text.substr(0, colon);
  const TFactory factory = FactoryOf(kind);
  if (refused) *refused = kind;
  if (colon == std::string::npos || !factory) return {};
  Dstl::wise_ref<TMesBase> mes = factory();
  if (mes && mes->SettingApply(text.substr(colon + 1))) return mes;
  if (mes && refused) *refused = mes->RefusedWord();
  return {};
}

}  // namespace Dova
