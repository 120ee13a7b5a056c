// What is said over the proxy link: the rings' name and the heartbeat.
#include <cstring>

#include "shmem/TShMemCli.h"

namespace Dova {
namespace {

constexpr char kNameRequest[] = "Req:ShMemName\n";
constexpr char kNameAnswer[] = "Ack:ShMemName:";
constexpr char kHeartbeat[] = "Hb:\n";
constexpr char kHeartbeatStart[] = "Hb:";
constexpr char kTimeoutReason[] = "Hb timeout";

constexpr int kReadBytes = 1024;
constexpr std::size_t kMaxPartialLine = 4096;

constexpr unsigned kSilenceMs = 30'000;
constexpr unsigned kAnswerMs = 10'000;

bool StartsWith(const std::string& line, const char* start) {
  return line.compare(0, std::strlen(start), start) == 0;
}

template <std::size_t N>
void SendText(TMesBase& mes, const char (&text)[N]) {
  mes.Send(text, static_cast<int>(N - 1));
}

}  // namespace

void TShMemCli::OnMesLinkReady(TMesBase* inner) {
  partialLine_.clear();
  SendText(*inner, kNameRequest);
}

void TShMemCli::OnMesRecvReady(TMesBase* inner) {
  const Dstl::wise_ref<TShMemCli> self(this);
  char chunk[kReadBytes];
  while (!IsClosed()) {
    const int count = inner->Recv(chunk, kReadBytes);
    if (count <= 0) return;
    SplitLines(chunk, static_cast<std::size_t>(count));
  }
}

void TShMemCli::SplitLines(const char* bytes, std::size_t length) {
  const char* const end = bytes + length;
  while (const auto* feed =
             static_cast<const char*>(std::memchr(bytes, '\n', static_cast<std::size_t>(end - bytes)))) {
    std::string line = std::move(partialLine_);
    partialLine_.clear();
    line.append(bytes, feed);
    bytes = feed + 1;
    // A line is a C text: it ends at its first NUL.
    line.resize(std::strlen(line.c_str()));
    OnProxyLine(line);
    if (IsClosed()) return;
  }
  partialLine_.append(bytes, end);
  if (partialLine_.size() > kMaxPartialLine) partialLine_.clear();
}

void TShMemCli::OnProxyLine(const std::string& line) {
  if (receiveChannel_.IsOpen()) {
    if (StartsWith(line, kHeartbeatStart)) ArmHeartbeat();
    return;
  }
  if (!StartsWith(line, kNameAnswer)) return;
  JoinRings(line.substr(std::strlen(kNameAnswer)));
  if (receiveChannel_.IsOpen()) SetLinkReady();
}

void TShMemCli::ArmHeartbeat() {
  heartbeat_.Start(&TShMemCli::OnHeartbeatSend, kSilenceMs);
}

void TShMemCli::OnHeartbeatSend() {
  RunInContext([this] {
    if (Inner()) SendText(*Inner(), kHeartbeat);
    heartbeat_.Start(&TShMemCli::OnHeartbeatTimeout, kAnswerMs);
  });
}

void TShMemCli::OnHeartbeatTimeout() {
  RunInContext([this] { CloseReason(kTimeoutReason); });
}

}  // namespace Dova
