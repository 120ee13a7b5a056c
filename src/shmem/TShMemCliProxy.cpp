// The proxy link protocol: the rings' name and the heartbeat.
#include <cstring>

#include "platform/runtime/TTimerQueue.h"
#include "shmem/TShMemCli.h"

namespace Dova {
namespace {

constexpr char kNameRequest[] = "Req:ShMemName\n";
constexpr char kNameAnswer[] = "Ack:ShMemName:";
constexpr char kHeartbeat[] = "Hb:\n";
constexpr char kHeartbeatStart[] = "Hb:";
constexpr char kTimeoutReason[] = "Hb timeout";
constexpr char kNoNameReason[] = "ShMem name: no answer";

constexpr int kReadBytes = 1024;
constexpr std::size_t kMaxPartialLine = 4096;

constexpr unsigned kNameMs = 10'000;  // from the request until the rings are joined
constexpr unsigned kSilenceMs = 30'000;
constexpr unsigned kAnswerMs = 10'000;

bool StartsWith(const std::string& line, const char* start) {
  return line.compare(0, std::strlen(start), start) == 0;
}

template <std::size_t N>
bool SendText(TMesBase& mes, const char (&text)[N]) {
  return mes.Send(text, static_cast<int>(N - 1)) == static_cast<int>(N - 1);
}

}  // namespace

int TShMemCli::LinkTimeoutMs() const {
  return TMesProxy::LinkTimeoutMs() + static_cast<int>(kNameMs);
}

void TShMemCli::OnMesLinkReady(TMesBase* inner) {
  const Dstl::wise_ref<TShMemCli> self(this);
  partialLine_.clear();
  Await(EAwait::Name, kNameMs);
  if (!SendText(*inner, kNameRequest)) End("ShMem name: request not sent");
}

void TShMemCli::OnMesRecvReady(TMesBase* inner) {
  const Dstl::wise_ref<TShMemCli> self(this);
  char chunk[kReadBytes];
  Guarded([&] {
    while (!IsClosed()) {
      const int count = inner->Recv(chunk, kReadBytes);
      if (count <= 0) return;
      SplitLines(chunk, static_cast<std::size_t>(count));
    }
  });
}

void TShMemCli::SplitLines(const char* bytes, std::size_t length) {
  const char* const end = bytes + length;
  while (const auto* feed =
             static_cast<const char*>(std::memchr(bytes, '\n', static_cast<std::size_t>(end - bytes)))) {
    std::string line = std::move(partialLine_);
    partialLine_.clear();
    line.append(bytes, feed);
    bytes = feed + 1;
    // A line is a C string: it ends at its first NUL.
    line.resize(std::strlen(line.c_str()));
    OnProxyLine(line);
    if (IsClosed()) return;
  }
  partialLine_.append(bytes, end);
  if (partialLine_.size() > kMaxPartialLine) partialLine_.clear();
}

void TShMemCli::OnProxyLine(const std::string& line) {
  if (State() != EState::Asking) {
    if (StartsWith(line, kHeartbeatStart)) Await(EAwait::Silence, kSilenceMs);
    return;
  }
  if (!StartsWith(line, kNameAnswer)) return;
  JoinRings(line.substr(std::strlen(kNameAnswer)));
  if (!receiveChannel_.IsOpen()) return;
  Await(EAwait::Silence, kSilenceMs);
  SetLinkReady();
}

// ---- time ----

// The due time is stored before the timer is started, so it has passed when the timer expires.
void TShMemCli::Await(EAwait what, unsigned ms) {
  await_ = what;
  due_ = clock_.Now() + std::chrono::milliseconds(ms);
  timer_.Start(ms);
}

// While this waited for the context, the awaited line may have arrived, and the due time been moved.
void TShMemCli::OnTimer() {
  const auto self = Dstl::wise_ref<TShMemCli>::try_hold(this);
  if (!self) return;
  RunInContext([this] {
    if (clock_.Now() >= due_) Guarded([this] { OnOverdue(); });
  });
}

void TShMemCli::OnOverdue() {
  SetEndCause(Os::ECause::GatewaySilent);
  switch (await_) {
    case EAwait::Name:
      return EndUnjoined(kNoNameReason);
    case EAwait::Silence:
      SendText(*Inner(), kHeartbeat);
      return Await(EAwait::Answer, kAnswerMs);
    case EAwait::Answer:
      return End(kTimeoutReason);
  }
}

}  // namespace Dova
