// A shared-memory link from its proxy line to its end: lines of the gateway in pieces, rings that exist, and
// a gateway that writes anything into them, in the order that the bytes say. It always ends with a reason,
// and while the rings were left alone no byte is lost.
#include <cstring>

#include "fuzz/Input.h"
#include "shmem/TShMemCli.h"
#include "sim/SimRings.h"
#include "support/MesRecorder.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"

namespace {

using vekfuzz::Check;
using vekfuzz::Input;

class World {
 public:
  World() : mes_(Dova::TShMemCli::Make()) {
    Check(rings_.Create("fuzz" + std::to_string(++count_), 200), "rings");
    Check(mes_->SettingApply("TestMes:ok"), "the setting");
    mes_->SetEvHandler(&events_);
    const Dova::TSyncScope inside(mes_->SyncContext());
    Check(mes_->Open(), "open");
    proxy_ = vektest::TestMes::Last();
  }

  ~World() {
    time_.Advance(100'000);
    if (begun_) {
      const std::string end = events_.WaitForEnd();
      Check(end.size() > std::strlen("broken "), "it ends with a reason");
    }
    Check(mes_->Send("x", 1) == 0, "nothing is accepted after the end");
    const Dova::TSyncScope inside(mes_->SyncContext());
    mes_->SetEvHandler(nullptr);
    mes_->Close();
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  void Step(Input& input) {
    switch (input.Below(9)) {
      case 0:
        begun_ = true;
        return proxy_->Ready();
      case 1:
        return Deliver(Named(input.Text()));
      case 2:
        return Deliver("Ack:ShMemName:" + rings_.BaseName() + "\n");
      case 3:
        return time_.Advance(input.Byte() * 200);
      case 4:
        return Send(std::string(input.Byte() * 2, 's'));
      case 5:
        return GatewayReads(input.Byte());
      case 6:
        rings_.Write("from the gateway", input.Below(17));
        return;
      case 7:
        return Spoil(input);
      default:
        return Break();
    }
  }

 private:
  // In a line "%" stands for the rings' name.
  std::string Named(std::string line) const {
    if (const std::size_t at = line.find('%'); at != line.npos) line.replace(at, 1, rings_.BaseName());
    return line;
  }
  // Nothing comes before the link or after its end.
  void Deliver(const std::string& bytes) {
    if (begun_ && !broken_) proxy_->Deliver(bytes);
  }
  void Break() {
    begun_ = broken_ = true;
    proxy_->Break("gone");
  }
  void Send(const std::string& bytes) {
    const int sent = mes_->Send(bytes.data(), static_cast<int>(bytes.size()));
    Check(sent == 0 || sent == static_cast<int>(bytes.size()), "all or nothing");
  }
  void GatewayReads(std::size_t size) {
    char buffer[256];
    const int count = rings_.Read(buffer, size);
    Check(spoilt_ || count >= 0, "the library leaves a sound ring sound");
    for (int i = 0; i < count && !spoilt_; ++i) Check(buffer[i] == 's', "a byte that was sent");
  }
  void Spoil(Input& input) {
    std::byte* const ring = input.Below(2) != 0 ? rings_.ToClient() : rings_.FromClient();
    const std::uint32_t choices[] = {input.Byte(), 200, 201, 0x7FFFFFFF, 0xFFFFFFFF};
    const std::uint32_t value = choices[input.Below(5)];
    std::atomic_ref(reinterpret_cast<std::uint32_t*>(ring)[input.Below(3)]).store(value);
    spoilt_ = true;
    rings_.WakeClient();
  }

  inline static unsigned count_ = 0;
  TestSupport::TVirtualTimerQueue time_;
  vektest::MesRecorder events_;
  VekSim::SimRings rings_;
  Dstl::wise_ref<Dova::TMesBase> mes_;
  Dstl::wise_ref<vektest::TestMes> proxy_;
  bool begun_ = false;
  bool broken_ = false;  // the proxy line
  bool spoilt_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  World world;
  for (int step = 0; step < 200 && !input.Empty(); ++step) world.Step(input);
  return 0;
}
