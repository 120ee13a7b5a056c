#include "sim/SimSession.h"

#include <utility>

#include "sim/SimRequests.h"

namespace VekSim {

namespace {

constexpr const char* kSignOnWork = "Sgn.Result";

}  // namespace

SimSession::SimSession(SimCore& core, int id, std::shared_ptr<SimLink> link)
    : core_(core),
      id_(id),
      link_(std::move(link)),
      beat_(core.io),
      queryWatch_(core.config.queryRate),
      requestWatch_(core.config.requestRate) {}

void SimSession::Start() {
  const auto self = shared_from_this();
  core_.record.Update([&](SimSeen& seen) {
    ++seen.sessions;
    seen.signedOn[id_] = false;
  });
  core_.Note({{}, id_, "link", {}, {}, {}, 0, {}, {}});
  core_.recorder.LinkUp(id_, link_->Addresses());
  link_->Start({[self](std::string_view bytes) { self->OnBytes(bytes); }, [self] { self->SendPiece(); },
                [self] { self->OnClosed(); }},
               core_.faults.TakeLink().value_or(core_.config.link));
  BeatSoon();
}

void SimSession::OnClosed() {
  beat_.cancel();
  core_.sessions.erase(id_);
  core_.Note({{}, id_, "closed", {}, {}, {}, 0, {}, {}});
  core_.record.Update([&](SimSeen& seen) {
    ++seen.closed;
    seen.signedOn.erase(id_);
  });
  core_.recorder.LinkEnd(id_);
}

void SimSession::Send(std::string packet) {
  if (link_->Open()) core_.recorder.FromServer(id_, packet);
  if (CodeOf(packet) != Code::kConnect) Scramble(packet, core_.config.key);
  link_->Write(packet);
}

void SimSession::SendRaw(std::string_view bytes) {
  if (link_->Open()) core_.recorder.FromServer(id_, bytes);
  link_->Write(bytes);
}

void SimSession::SendText(int code, std::string_view text) {
  for (auto& packet : TextPackets(code, text, core_.config.order)) Send(std::move(packet));
}

void SimSession::OnBytes(std::string_view bytes) {
  cutter_.Feed(bytes);
  while (auto packet = cutter_.Next()) {
    if (!link_->Open()) return;
    OnPacket(std::move(*packet));
  }
  if (!cutter_.Broken() || !link_->Open()) return;
  core_.record.Update([](SimSeen& seen) { ++seen.broken; });
  link_->Close(false);
}

void SimSession::OnPacket(std::string packet) {
  const int code = CodeOf(packet);
  std::string raw = packet;
  if (core_.config.mode == 1 && code != Code::kConnect) Scramble(packet, core_.config.key);
  core_.recorder.FromClient(id_, packet);
  const auto now = core_.Now();  // not under the record's lock: the clock may be the caller's
  core_.record.Update([&](SimSeen& seen) {
    ++seen.packetCount;
    if (code == Code::kHeartbeat) ++seen.heartbeats;
    if (!core_.config.keepPackets) return;
    seen.packets.push_back({id_, code, packet.substr(kHeadSize), std::move(raw), now});
  });
  if (code == Code::kPiece) {
    pieces_ += TextOf(packet, core_.config.order);
  } else if (code == Code::kConnect) {
    OnConnect(packet);
  } else if (code == Code::kHeartbeat) {
    if (core_.config.echoHeartbeat && !link_->Faults().silent) Send(Packet(Code::kHeartbeat, {}));
  } else if (code == Code::kSession) {
    if (packet.size() > kHeadSize && packet[kHeadSize] == 0) OnSignOn(packet);
    if (packet.size() > kHeadSize && packet[kHeadSize] == 1) OnPassChange(packet);
  } else {
    OnMessage(code, std::exchange(pieces_, {}).append(TextOf(packet, core_.config.order)));
  }
}

void SimSession::OnMessage(int code, std::string text) {
  if (code != Code::kTask && code != Code::kAck) return;
  if (!login_) return Stray();
  if (code == Code::kAck) return OnBatch(text);
  OnTask(ParseRequest(text));
}

Fault SimSession::FaultOf(SimEvent event, const SimPlay& play) {
  if (!play.rejection) return core_.faults.Take(event);
  return {event, FaultKind::Refuse, 0, play.rejection.text};
}

void SimSession::Finish(const SimPlay& play, std::vector<std::string> packets, const Fault& fault) {
  core_.player.PlayFirst(play, id_);
  Answer(std::move(packets), fault);
  core_.player.PlayLater(play, id_, {});
}

void SimSession::OnConnect(std::string_view packet) {
  const auto request = ReadConnect(packet);
  if (!request) return Stray();
  core_.record.Update([&](SimSeen& seen) {
    seen.connects.push_back({id_, request->name, request->version, request->kindLine});
  });
  const SimConfig& config = core_.config;
  const SimPlay play = core_.player.MeetHandshake("connect");
  const Fault fault = FaultOf(SimEvent::Connect, play);
  ConnectAnswer answer{config.outcome, config.serverName, config.serverVersion, config.items};
  std::string error = config.connectError;
  if (fault.Refuses()) {
    answer.outcome = 1;
    error = fault.text;
  }
  if (!error.empty() || answer.outcome == 1) answer.items.push_back(ErrorItem(ToBig5(error)));
  if (config.mode != 0 || !config.key.empty()) answer.items.push_back(EncItem(config.mode, config.key));
  core_.Note(
      {{}, id_, "connect", {}, {}, answer.outcome == 1 ? "refused" : "answered", 0, {}, request->name});
  Finish(play, {ConnectResult(answer, config.order)}, fault);
}

void SimSession::OnSignOn(std::string_view packet) {
  const auto request = ReadSignOn(packet);
  if (!request) return Stray();
  const ByteOrder order = core_.config.order;
  const SimPlay play = core_.player.MeetHandshake("sign-on");
  const Fault fault = FaultOf(SimEvent::SignOn, play);
  login_ = core_.users.SignOn(request->identity, request->password);
  if (fault.Refuses()) login_.reset();
  std::vector<std::string> packets;
  if (!login_) {
    const std::string reason = fault.Refuses() && !fault.text.empty() ? fault.text : "使用者代號或密碼錯誤";
    packets.push_back(SignOnReply(0, request->identity, ToBig5(reason), order));
  } else {
    if (core_.config.signOnReply != 0) {
      packets.push_back(SignOnReply(core_.config.signOnReply, request->identity, {}, order));
    }
    for (auto& piece : TextPackets(Code::kTask, TaskBody(kSignOnWork, SignOnText(), order), order)) {
      packets.push_back(std::move(piece));
    }
  }
  core_.Note({{}, id_, "sign-on", {}, {}, login_ ? "accepted" : "refused", 0, {}, request->identity});
  core_.record.Update([&](SimSeen& seen) {
    seen.signOns.push_back({id_, request->identity, request->password, login_.has_value()});
    seen.signedOn[id_] = login_.has_value();
  });
  Finish(play, std::move(packets), fault);
}

void SimSession::OnPassChange(std::string_view packet) {
  const auto request = ReadPass(packet);
  if (!request) return Stray();
  const SimPlay play = core_.player.MeetHandshake("password");
  const Fault fault = FaultOf(SimEvent::PassChange, play);
  const std::string reason =
      fault.Refuses() ? fault.text
                      : core_.users.ChangePassword(request->user, request->oldPass, request->newPass);
  const bool accepted = reason.empty() && !fault.Refuses();
  core_.record.Update([&](SimSeen& seen) {
    seen.passChanges.push_back({id_, request->user, request->oldPass, request->newPass, accepted});
  });
  core_.Note({{}, id_, "password", {}, {}, accepted ? "changed" : "refused", 0, {}, request->user});
  Finish(play, {PassResult(request->user, ToBig5(accepted ? "密碼變更成功" : "密碼變更失敗:" + reason))},
         fault);
}

}  // namespace VekSim
