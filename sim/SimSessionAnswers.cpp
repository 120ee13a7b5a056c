// The part of SimSession that sends answers, correct ones or with a fault.
#include <algorithm>
#include <utility>

#include "sim/SimSession.h"

namespace VekSim {

namespace {

constexpr std::size_t kCutPiece = 16;

/// Offset of the packet's first inner length field of more than one byte.
std::size_t InnerLengthAt(const std::string& packet) {
  if (CodeOf(packet) == Code::kConnect) return 18;
  return CodeOf(packet) == Code::kSession ? 5 : kHeadSize;
}

void Overwrite(std::string& packet, std::size_t at, std::string_view bytes) {
  if (at + bytes.size() <= packet.size()) packet.replace(at, bytes.size(), bytes);
}

}  // namespace

void SimSession::Answer(std::vector<std::string> packets, const Fault& fault) {
  if (link_->Faults().silent || fault.kind == FaultKind::Silence) return;
  if (fault.kind == FaultKind::Close) return link_->Finish();
  if (fault.kind == FaultKind::CutLong) return CutLong(packets, fault.n);
  if (fault.kind == FaultKind::EndlessPieces) {
    endless_ = std::clamp<std::size_t>(fault.n, 1, kMaxPieceBody);
    return SendPiece();
  }
  std::string& first = packets.front();
  if (fault.kind == FaultKind::Garbage) SendRaw(Noise(fault.n, fault.seed));
  if (fault.kind == FaultKind::WrongLength) Overwrite(first, 0, Head(CodeOf(first), fault.n));
  if (fault.kind == FaultKind::InnerLength) {
    Overwrite(first, fault.n != 0 ? fault.n : InnerLengthAt(first), "\xFF\xFF");
  }
  for (std::string& packet : packets) Send(std::move(packet));
}

void SimSession::CutLong(const std::vector<std::string>& packets, std::size_t pieces) {
  std::string text;
  for (const std::string& packet : packets) text += TextOf(packet, core_.config.order);
  auto cut = TextPackets(CodeOf(packets.back()), text, core_.config.order, kCutPiece);
  cut.resize(std::min(pieces, cut.size()));
  for (std::string& piece : cut) Send(std::move(piece));
  link_->Finish();
}

// One piece at a time, each after the previous one has been sent: a client that stops reading stops this too.
void SimSession::SendPiece() {
  if (endless_ == 0) return;
  Send(TextPacket(Code::kPiece, std::string(endless_, 'x'), core_.config.order));
}

void SimSession::BeatSoon() {
  if (core_.config.heartbeatMs < 1) return;
  beat_.expires_after(std::chrono::milliseconds(core_.config.heartbeatMs));
  beat_.async_wait([self = shared_from_this()](const asio::error_code& error) {
    if (error || !self->link_->Open()) return;
    if (!self->link_->Faults().silent) self->Send(Packet(Code::kHeartbeat, {}));
    self->BeatSoon();
  });
}

void SimSession::Stray() {
  core_.record.Update([](SimSeen& seen) { ++seen.strays; });
}

}  // namespace VekSim
