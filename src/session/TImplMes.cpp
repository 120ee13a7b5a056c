// Making and dropping the messenger.
#include <utility>

#include "platform/mbus/TMesRegs.h"
#include "platform/mbus/TSyncObj.h"
#include "protocol/Texts.h"
#include "session/TImpl.h"
#include "shmem/TShMemCli.h"

namespace VekApi {
namespace {

// "HOST:PORT" is TCP without delay; a leading colon lets the application name any kind.
std::string MessengerText(const std::string& setting) {
  return !setting.empty() && setting[0] == ':' ? setting.substr(1) : "TCPClient:" + setting + " n M0";
}

// The kinds of the runtime, and the one that stands on them. Never destroyed: sessions may be opened while
// the process ends.
const Dova::TMesRegs& SessionMesRegs() {
  static const Dova::TMesRegs& regs = *[] {
    auto* made = new Dova::TMesRegs(Dova::TMesRegs::GetClientMesRegs());
    made->Register("ShMemCli", &Dova::TShMemCli::Make);
    return made;
  }();
  return regs;
}

}  // namespace

class VekClient::TImpl::TSyncOpenMes : public Dova::TSyncObj {
 public:
  TSyncOpenMes(const std::string& text, TImpl& impl) : TSyncObj(impl.Context()), text_(text), impl_(impl) {}

 protected:
  void OnSync() override {
    auto mes = SessionMesRegs().CreateMes(text_);
    if (!mes) return;
    mes->SetSyncContext(impl_.Context());
    mes->SetEvHandler(&impl_);
    impl_.SetMes(mes);
    if (!mes->Open()) impl_.MesClose();
  }

 private:
  const std::string text_;
  TImpl& impl_;
};

class VekClient::TImpl::TSyncCloseMes : public Dova::TSyncObj {
 public:
  TSyncCloseMes(Dstl::wise_ref<Dova::TSyncContext> context, Dstl::wise_ref<Dova::TMesBase> mes)
      : TSyncObj(std::move(context)), mes_(std::move(mes)) {}

 protected:
  void OnSync() override {
    mes_->SetEvHandler(nullptr);
    mes_->Close();
    mes_.reset();
  }

 private:
  Dstl::wise_ref<Dova::TMesBase> mes_;
};

Dstl::wise_ref<Dova::TMesBase> VekClient::TImpl::GetMes() {
  const std::lock_guard lock(mesMutex_);
  return mes_;
}

void VekClient::TImpl::SetMes(Dstl::wise_ref<Dova::TMesBase> mes) {
  const std::lock_guard lock(mesMutex_);
  std::swap(mes_, mes);
}

const char* VekClient::TImpl::MesOpen(const std::string& setting) {
  TSyncOpenMes(MessengerText(setting), *this).WaitSync(true);
  return GetMes() ? nullptr : kTextBadSetting;
}

void VekClient::TImpl::MesClose() {
  auto mes = GetMes();
  if (!mes) return;
  SetMes({});
  TSyncCloseMes(Context(), std::move(mes)).WaitSync(true);
}

}  // namespace VekApi
