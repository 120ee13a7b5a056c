#include "shmem/TShMemCli.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "platform/runtime/TTimerQueue.h"
#include "platform/transport/TMesRegs.h"
#include "shmem/TCliThr.h"

namespace Dova {
namespace {

constexpr std::size_t kQueueBlockBytes = 4096;
constexpr char kBrokenReason[] = "Invalid ShMem index";
constexpr char kNoMemoryReason[] = "Out of memory";
constexpr std::size_t kReasonBytes = 256;

}  // namespace

TShMemCli::TShMemCli()
    : TMemQueue(kQueueBlockBytes), clock_(TTimerQueue::Current()), timer_(ots_OneShot, *this) {
  endReason_.reserve(kReasonBytes);  // so that ending for lack of memory needs no memory
  timer_.SetTarget(&TShMemCli::OnTimer);
}

TShMemCli::~TShMemCli() = default;

bool TShMemCli::SettingApply(const std::string& setting) {
  std::string refused;
  auto inner = TMesRegs::GetClientMesRegs().CreateMes(setting, &refused);
  const bool made = static_cast<bool>(inner);
  SetInner(std::move(inner));
  if (!made) {
    SetRefusedWord(std::move(refused));
    return false;
  }
  queueBytes_ = Inner()->SendQueueBytes();
  spinUs_ = Inner()->TakeSpinUs();
  return TMesBase::SettingApply(setting);
}

// ---- the link, from inside the context ----

void TShMemCli::Close() {
  // In a forked child the rings and the worker are the parent's.
  if (IsInherited()) return TMesProxy::Close();
  const bool first = !IsClosed();
  timer_.Stop();
  TMesProxy::Close();
  {
    const std::lock_guard lock(Mutex());
    state_.store(EState::Over, std::memory_order_release);
    Clear();
  }
  // Not only the first time: if the worker itself closed the link, it is still ending. After Stop it uses no
  // channel: it has ended, or it is this thread, inside an event, and ends when that returns.
  if (thread_) thread_->Stop();
  if (!first) return;
  const std::lock_guard lock(Mutex());
  sendChannel_.WipeAll();
  sendChannel_.Close();
  receiveChannel_.Close();
}

void TShMemCli::End(const std::string& reason) {
  const Dstl::wise_ref<TShMemCli> self(this);
  const EState was = State();
  if (was == EState::Over) return;
  if (was != EState::Asking) return CloseReason(reason);
  // A link that never opened cannot break.
  SetState(EState::Over);
  RaiseInside([&](TMesEvHandler& handler) { handler.OnMesLinkError(this, reason); });
  Close();
}

void TShMemCli::EndLater() {
  SetEndCause(laterCause_);
  End(endReason_);
}

void TShMemCli::SetState(EState state) {
  const std::lock_guard lock(Mutex());
  state_.store(state, std::memory_order_release);
}

void TShMemCli::BeginEnd(const char* reason, Os::ECause cause, std::size_t drainBytes) {
  const std::lock_guard lock(Mutex());
  BeginEndLocked(reason, cause, drainBytes);
}

void TShMemCli::BeginEndLocked(const char* reason, Os::ECause cause, std::size_t drainBytes) {
  if (State() != EState::Linked) return;
  endReason_.assign(reason, std::min(std::char_traits<char>::length(reason), kReasonBytes));
  laterCause_ = cause;
  drainBytes_ = drainBytes;
  state_.store(EState::Ending, std::memory_order_release);
  receiveChannel_.ReadEvent().Set();
}

// Without a lock: no thread sends yet.
void TShMemCli::JoinRings(const std::string& baseName) {
  for (TShMemChannel* const channel : {&sendChannel_, &receiveChannel_}) {
    const std::string name = baseName + (channel == &sendChannel_ ? ".C2S" : ".S2C");
    if (channel->Open(name)) continue;
    joinError_ = "ShMem " + name.substr(0, kReasonBytes / 2) + ": " + channel->Error();
    joinCause_ = channel->Cause();
    sendChannel_.Close();
    return;
  }
}

void TShMemCli::SetLinkReady() {
  thread_ = std::make_unique<TCliThr>(*this);
  if (!thread_->Start()) {
    SetEndCause(Os::ECause::NoThread);
    return End("ShMem worker: no thread or no handles");
  }
  SetState(EState::Linked);
  RaiseInside([this](TMesEvHandler& handler) { handler.OnMesLinkReady(this); });
}

void TShMemCli::EndUnjoined(const std::string& reason) {
  if (joinError_.empty()) return End(reason);
  SetEndCause(joinCause_);
  End(joinError_);
}

// The gateway's last data is still delivered, up to the capacity of the ring.
void TShMemCli::OnInnerGone(const std::string& reason) {
  SetEndCause(Inner()->EndCause());
  if (due_ == Os::kNever) return End(reason);  // it was never ready
  Guarded([&] {
    if (State() == EState::Asking) return EndUnjoined("ShMem name: " + reason);
    BeginEnd(("ShMem proxy link: " + reason).c_str(), EndCause(), receiveChannel_.Ring().Capacity());
  });
}

bool TShMemCli::OnBytes() {
  if (IsOver()) return false;
  if (State() == EState::Ending && drainBytes_ == 0) {
    EndLater();
    return false;
  }
  received_ = 0;
  RaiseInside([this](TMesEvHandler& handler) { handler.OnMesRecvReady(this); });
  if (IsOver()) return false;
  // If the handler read nothing, it is notified again when more has arrived.
  const bool more = received_ != 0 && receiveChannel_.Ring().HasNews();
  if (State() != EState::Ending) return more;
  drainBytes_ = more ? drainBytes_ - std::min(drainBytes_, received_) : 0;
  if (drainBytes_ == 0) EndLater();
  return !IsOver();
}

void TShMemCli::OnRoom() {
  RaiseInside([this](TMesEvHandler& handler) { handler.OnMesSendEmpty(this); });
}

// ---- bytes ----

int TShMemCli::Send(const char* bytes, int length) {
  std::uint64_t at = 0;
  return SendAt(bytes, length, at);
}

// One lock for the whole call, so that data of two threads is not interleaved, and nothing is queued unseen
// by the worker.
int TShMemCli::SendAt(const char* bytes, int length, std::uint64_t& at) {
  if (length <= 0 || IsInherited()) return 0;
  const auto size = static_cast<std::size_t>(length);
  const std::lock_guard lock(Mutex());
  if (State() != EState::Linked) return 0;
  const bool first = Empty();
  // The ring is queried only if it matters.
  const std::size_t free = queueBytes_ - std::min(queueBytes_, Size());
  if (size > free && (!first || size - free > sendChannel_.Ring().Space())) return 0;
  const std::ptrdiff_t written = first ? sendChannel_.Write(bytes, size) : 0;
  if (written < 0) {
    BeginEndLocked(kBrokenReason, Os::ECause::BadRings);
    return 0;
  }
  const std::uint64_t begin = taken_ + Size();
  taken_ += static_cast<std::size_t>(written);
  const bool whole = AppendLocked(bytes + written, size - static_cast<std::size_t>(written));
  if (whole || written > 0) at = begin;
  if (!whole) return 0;
  if (first && !Empty()) thread_->OnQueued();
  return length;
}

std::uint64_t TShMemCli::TakenBytes() {
  if (IsInherited()) return 0;
  const std::lock_guard lock(Mutex());
  return taken_;
}

// Without memory for the rest the stream would be incomplete.
bool TShMemCli::AppendLocked(const char* bytes, std::size_t length) {
  try {
    Append(bytes, length);
    return true;
  } catch (const std::bad_alloc&) {
    BeginEndLocked(kNoMemoryReason, Os::ECause::NoMemory);
    return false;
  }
}

bool TShMemCli::MoveOverflow() {
  const std::lock_guard lock(Mutex());
  const char* block = nullptr;
  while (const std::size_t count = State() == EState::Linked ? GetMemBlock(block) : 0) {
    const std::ptrdiff_t written = sendChannel_.Write(block, count);
    if (written < 0) BeginEndLocked(kBrokenReason, Os::ECause::BadRings);
    if (written <= 0) return false;
    taken_ += static_cast<std::size_t>(written);
    if (SetMemUsed(static_cast<std::size_t>(written)) == 0) break;
  }
  if (State() == EState::Linked) sendChannel_.WipePassed();
  return true;
}

int TShMemCli::Recv(char* buffer, int size) {
  if (size <= 0 || IsInherited() || !receiveChannel_.IsOpen()) return 0;
  const std::size_t most = std::min(static_cast<std::size_t>(size), kEventBytes - received_);
  if (most == 0) return 0;
  const std::ptrdiff_t count = receiveChannel_.Read(buffer, most);
  if (count < 0) BeginEnd(kBrokenReason, Os::ECause::BadRings);
  if (count > 0) received_ += static_cast<std::size_t>(count);
  return static_cast<int>(count);
}

}  // namespace Dova
