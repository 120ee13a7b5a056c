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

Dstl::wise_ref<TMesBase> TMesRegs::CreateMes(const std::string& text) const {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return {};
  const auto found = factories_.find(text.substr(0, colon));
  if (found == factories_.end()) return {};
  Dstl::wise_ref<TMesBase> mes = found->second();
  if (!mes || !mes->SettingApply(text.substr(colon + 1))) return {};
  return mes;
}

}  // namespace Dova
