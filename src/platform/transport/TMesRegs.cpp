#include "platform/transport/TMesRegs.h"

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

Dstl::wise_ref<TMesBase> TMesRegs::CreateMes(const std::string& text, std::string* refused) const {
  const std::size_t colon = text.find(':');
  const std::string kind = text.substr(0, colon);
  const auto found = factories_.find(kind);
  if (refused) *refused = kind;
  if (colon == std::string::npos || found == factories_.end()) return {};
  Dstl::wise_ref<TMesBase> mes = found->second();
  if (mes && mes->SettingApply(text.substr(colon + 1))) return mes;
  if (mes && refused) *refused = mes->RefusedWord();
  return {};
}

}  // namespace Dova
