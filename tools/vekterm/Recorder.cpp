#include "vekterm/Recorder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "protocol/PasswordChange.h"
#include "protocol/RequestPrefix.h"
#include "protocol/SignOn.h"

namespace VekTerm {
namespace {

using VekApi::ERecord;
using VekApi::ERecordOrder;

constexpr char kStars[] = "********";

// The numbers that states have in a recording.
std::int32_t RecordedState(std::int32_t state) {
  switch (state) {
    case vss_Connecting:
      return VekApi::vcs_Connecting;
    case vss_SigningOn:
      return VekApi::vcs_Connected;
    case vss_Resyncing:
    case vss_Up:
    case vss_Draining:
      return VekApi::vcs_ApReady;
    case vss_Refused:
      return VekApi::vcs_SgnError;
    case vss_Closed:
      return VekApi::vcs_Disconnected;
    default:
      return VekApi::vcs_LinkBroken;
  }
}

std::string Packet(int code, std::string_view body) {
  std::string packet(VekApi::kHeadBytes, '\0');
  packet += body;
  VekApi::PutHead(packet.data(), code, static_cast<int>(packet.size()));
  return packet;
}

}  // namespace

Recorder::Recorder(const std::string& file, std::string identity)
    : name_(file), identity_(std::move(identity)), file_(file, std::ios::binary) {
  if (!file_) throw std::runtime_error(file + " cannot be written: " + std::strerror(errno));
  file_ << VekApi::kRecordingMagic;
}

void Recorder::Close() {
  file_.close();
  if (!file_) throw std::runtime_error(name_ + " could not be written to its end");
}

void Recorder::Add(const CVekEvent& event) {
  if (event.kind == vse_State) AddState(event);
  if (event.kind == vse_Trace) AddMessage(event);
}

void Recorder::AddState(const CVekEvent& event) {
  const bool linked = event.state != vss_Waiting && event.state != vss_Closed && event.state != vss_Stopped;
  const std::string why = event.detail;
  const std::string reason = CVekApi_Text(vst_Reason, event.reason, 0);
  if (linked && !linked_) Put(event, ERecord::LinkUp, "vekterm as " + identity_);
  state_ = event.state;
  Put(event, ERecord::State, reason, RecordedState(event.state));
  if (!linked && linked_) Put(event, ERecord::LinkEnd, reason);
  linked_ = linked;
}

// Of a message with passwords the trace tells the user only.
void Recorder::AddMessage(const CVekEvent& event) {
  const std::string_view body(event.text, event.textLength);
  const bool out = (event.flags & vsg_Outbound) != 0;
  if (event.code >= VekApi::PkTaskResult || event.code == VekApi::PkBigPart) return AddText(event, body);
  if (event.code == VekApi::PkConnect && !out && body.size() > 1)
    order_ = body[1] == 'x' ? ERecordOrder::Little : ERecordOrder::Big;
  if (event.code != VekApi::PkSession || !out) return Put(event, ERecord::Packet, Packet(event.code, body));
  const bool signOn = state_ == vss_Connecting || state_ == vss_SigningOn;
  const std::string user(body.substr(0, body.find(' ')));
  auto packet =
      signOn ? VekApi::MakeSignOnRequest(user, kStars) : VekApi::MakeChgPassRequest(user, kStars, kStars);
  Put(event, ERecord::Packet, {packet.Data(), static_cast<std::size_t>(packet.Length())});
}

// In pieces, as it went.
void Recorder::AddText(const CVekEvent& event, std::string_view text) {
  const EVekEndian order = order_ == ERecordOrder::Big ? vek_BigEndian : vek_LittleEndian;
  do {
    const std::string_view piece = text.substr(0, VekApi::kMaxPiece);
    text.remove_prefix(piece.size());
    std::string body(2, '\0');
    VekApi::PutU16(body.data(), piece.size(), order);
    body += piece;
    Put(event, ERecord::Packet, Packet(text.empty() ? event.code : VekApi::PkBigPart, body));
  } while (!text.empty());
}

void Recorder::Put(const CVekEvent& event, ERecord kind, std::string_view content, std::int32_t state) {
  content = content.substr(0, VekApi::kMostRecordBytes);
  VekApi::TRecordHead head;
  head.length = static_cast<std::uint32_t>(content.size());
  head.kind = kind;
  head.fromServer = kind == ERecord::Packet && (event.flags & vsg_Outbound) == 0;
  head.order = order_;
  head.link = std::max(event.link, 1u);
  head.state = state;
  head.monotonicNs = event.atNs;
  head.wallNs = event.unixNs;
  const auto bytes = VekApi::WriteRecordHead(head);
  file_.write(bytes.data(), bytes.size()).write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace VekTerm
