#include "shmem/TShMemCli.h"

#include <mutex>
#include <new>

#include "platform/mbus/TMesRegs.h"
#include "shmem/TCliThr.h"

namespace Dova {
namespace {

constexpr std::size_t kQueueBlockBytes = 4096;
constexpr char kNoThreadReason[] = "No thread";
constexpr char kBrokenReason[] = "Invalid ShMem index";

}  // namespace

TShMemCli::TShMemCli() : TMemQueue(kQueueBlockBytes), heartbeat_(ots_OneShot, *this) {}

TShMemCli::~TShMemCli() = default;

bool TShMemCli::SettingApply(const std::string& setting) {
  auto inner = TMesRegs::GetClientMesRegs().CreateMes(setting);
  const bool made = static_cast<bool>(inner);
  SetInner(std::move(inner));
  return made && TMesBase::SettingApply(setting);
}

void TShMemCli::Close() {
  const bool first = !IsClosed();
  heartbeat_.Stop();
  TMesProxy::Close();
  {
    const std::lock_guard lock(Mutex());
    linked_ = false;
    Clear();
  }
  // Not only the first time: a link that the worker closed itself has a worker that is still ending.
  StopThread();
  if (!first) return;
  const std::lock_guard lock(Mutex());
  sendChannel_.Close();
  receiveChannel_.Close();
}

// After it the worker touches no channel any more: it has ended, or it is this thread, in an event, and ends
// when that returns.
void TShMemCli::StopThread() {
  int running = ts_Running;
  threadState_.compare_exchange_strong(running, ts_Stopping);
  if (thread_) thread_->Stop();
}

// ---- the link, from inside the context ----

void TShMemCli::JoinRings(const std::string& baseName) {
  const std::lock_guard lock(Mutex());
  linked_ = sendChannel_.Open(baseName + ".C2S") && receiveChannel_.Open(baseName + ".S2C");
  if (!linked_) sendChannel_.Close();
}

void TShMemCli::SetLinkReady() {
  if (threadState_.load() == ts_NotStarted) {
    thread_ = std::make_unique<TCliThr>(*this);
    threadState_.store(ts_Running);
    if (!thread_->Start()) {
      threadState_.store(ts_Ended);
      RaiseInside([this](TMesEvHandler& handler) { handler.OnMesLinkError(this, kNoThreadReason); });
      return Close();
    }
  }
  RaiseInside([this](TMesEvHandler& handler) { handler.OnMesLinkReady(this); });
  if (IsClosed()) return;
  greeted_.store(true, std::memory_order_release);
  ArmHeartbeat();
}

// The last that the gateway wrote still counts.
bool TShMemCli::OnInnerLost() {
  if (!receiveChannel_.IsOpen()) return false;
  RaiseInside([this](TMesEvHandler& handler) { handler.OnMesRecvReady(this); });
  return true;
}

void TShMemCli::SetBroken() {
  broken_.store(true, std::memory_order_release);
  receiveChannel_.ReadEvent().Set();
}

bool TShMemCli::CloseWhenBroken() {
  if (!broken_.load(std::memory_order_acquire)) return false;
  CloseReason(kBrokenReason);
  return true;
}

// ---- bytes ----

// One lock around the whole: what two threads send does not mix, and nothing is queued behind the worker's
// back.
int TShMemCli::Send(const char* bytes, int length) {
  if (length <= 0) return 0;
  if (!greeted_.load(std::memory_order_acquire) && !SyncContext()->IsInside()) return 0;
  const auto size = static_cast<std::size_t>(length);
  const std::lock_guard lock(Mutex());
  if (!linked_) return 0;
  const bool first = Empty();
  const std::ptrdiff_t written = first ? sendChannel_.Write(bytes, size) : 0;
  const bool taken = written >= 0 && AppendLocked(bytes + written, size - static_cast<std::size_t>(written));
  if (taken && first && !Empty() && thread_) thread_->OnQueued();
  if (taken) return length;
  linked_ = false;
  SetBroken();
  return 0;
}

// Without memory for the rest the stream would be torn.
bool TShMemCli::AppendLocked(const char* bytes, std::size_t length) {
  try {
    Append(bytes, length);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool TShMemCli::MoveOverflow() {
  const std::lock_guard lock(Mutex());
  const char* block = nullptr;
  while (const std::size_t count = linked_ ? GetMemBlock(block) : 0) {
    const std::ptrdiff_t written = sendChannel_.Write(block, count);
    if (written < 0) {
      linked_ = false;
      SetBroken();
    }
    if (written <= 0) return false;
    if (SetMemUsed(static_cast<std::size_t>(written)) == 0) break;
  }
  return true;
}

int TShMemCli::Recv(char* buffer, int size) {
  if (size <= 0 || !receiveChannel_.IsOpen()) return 0;
  const std::ptrdiff_t count = receiveChannel_.Read(buffer, static_cast<std::size_t>(size));
  if (count < 0) SetBroken();
  if (count > 0) received_ += static_cast<std::size_t>(count);
  return static_cast<int>(count);
}

}  // namespace Dova
