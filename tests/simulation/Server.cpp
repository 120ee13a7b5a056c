#include "simulation/Server.h"

#include <algorithm>
#include <utility>

namespace vektest {

using namespace VekSim;

Server::Server(World& world, int link, ServerScript script, Line& line)
    : world_(world),
      link_(link),
      script_(std::move(script)),
      order_(script_.big ? ByteOrder::Big : ByteOrder::Little),
      line_(line),
      draw_(world.story.seed, 5000 + static_cast<std::uint64_t>(link)),
      lastBytes_(world.Now()) {}

// ---- receiving ----

void Server::OnBytes(std::string_view bytes) {
  lastBytes_ = world_.Now();
  cutter_.Feed(bytes);
  while (const auto packet = cutter_.Next()) OnPacket(*packet);
  if (cutter_.Broken())
    Fail("torn", "what came over link " + std::to_string(link_) + " is no stream of packets");
}

int Server::TakeRest(std::string_view bytes) {
  ended_ = true;
  OnBytes(bytes);
  const std::string rest = cutter_.Rest();
  return rest.size() < kHeadSize ? 0 : CodeOf(rest);
}

std::string Server::Half() const {
  return pieces_ + Descrambled(cutter_.Rest());
}

void Server::OnFinished() {
  ended_ = true;
  Later(kMs, 3 * kSecond, [this] { line_.End(Cut::Finish); });
}

void Server::OnPacket(const std::string& packet) {
  const int code = CodeOf(packet);
  if (!std::exchange(greeted_, true)) {
    const auto request = code == Code::kConnect ? ReadConnect(packet) : std::nullopt;
    if (!request) Fail("early", "code " + std::to_string(code) + " before the connect request");
    if (request->name != "App" + std::to_string(world_.Who(link_)))
      Fail("mixed", "the connect request of another link: " + request->name);
    if (script_.hello == ServerScript::Never) return;
    const Ns late = script_.hello == ServerScript::Late ? script_.late : kMs;
    Later(late, late + 100 * kMs, [this] { SendHello(script_.hello == ServerScript::Refused); });
    if (script_.hello == ServerScript::Twice) Later(late, late + kSecond, [this] { SendHello(false); });
    return;
  }
  if (code == Code::kConnect) Fail("doubled", "a second connect request");
  if (code == Code::kHeartbeat && script_.echo)
    Later(kMs, 10 * kMs, [this] { Send(Packet(Code::kHeartbeat, {})); });
  if (code == Code::kSession) OnSession(packet);
  if (code <= Code::kSession) return;
  const auto text = TextOf(packet);
  if (!text)
    Fail("torn", "a packet of code " + std::to_string(code) + " that announces what it does not hold");
  if (code == Code::kPiece) {
    if (text->size() != kMaxPieceBody) Fail("torn", "a piece of " + std::to_string(text->size()) + " bytes");
    pieces_ += *text;
  } else {
    OnText(code, std::exchange(pieces_, {}) + *text);
  }
}

std::string Server::Descrambled(std::string packet) const {
  if (answered_ && script_.mode == 1) Scramble(packet, script_.key);
  return packet;
}

// Text sent before the client received the key is plain, in the byte order of the previous link.
std::optional<std::string> Server::TextOf(const std::string& packet) {
  const auto read = [](const std::string& plain, ByteOrder order) -> std::optional<std::string> {
    if (plain.size() < kPrefixSize || ReadU16(plain, kHeadSize, order) != plain.size() - kPrefixSize)
      return {};
    return plain.substr(kPrefixSize);
  };
  auto text = answered_ ? read(Descrambled(packet), order_) : std::nullopt;
  if (!text) text = read(packet, ByteOrder::Little);
  return text ? text : read(packet, ByteOrder::Big);
}

void Server::OnSession(const std::string& packet) {
  for (const std::string& plain : {Descrambled(packet), packet}) {
    if (plain[kHeadSize] == 0) {
      const auto request = ReadSignOn(plain);
      const std::string id = std::to_string(world_.Who(link_));
      if (request && request->identity == "u" + id + "/s" + id &&
          (request->password == "p" + id || (world_.story.sessions && request->password.empty())))
        return OnSignOn();
    } else if (plain[kHeadSize] == 1) {
      const auto request = ReadPass(plain);
      if (!request || request->newPass != "the new one") continue;
      world_.OnRequest(request->user, link_);
      const std::string text = Mark().substr(0, 100);
      return Later(kMs, kSecond, [this, user = request->user, text] {
        Send(PassResult(user, text), "chgpass " + user + " " + text);
      });
    }
  }
  Fail("mixed", "a sign-on or a password that is not of this link");
}

void Server::OnSignOn() {
  if (signOns_++ > 0) {
    if (script_.hello != ServerScript::Twice || signOns_ > 2) Fail("doubled", "the sign-on came again");
    return;
  }
  if (script_.signOn == ServerScript::Never) return;
  const Ns late = script_.signOn == ServerScript::Late ? script_.late : kMs;
  Later(late, late + 100 * kMs, [this] { SendSignOn(script_.signOn == ServerScript::Refused); });
  if (script_.signOn == ServerScript::Twice) Later(late, late + kSecond, [this] { SendSignOn(false); });
}

void Server::OnText(int code, const std::string& text) {
  if (text[0] == 'P') return OnBatch(text);
  world_.OnRequest(text, link_);
  if (code == Code::kTask) {
    const std::string id = text.substr(0, text.find(' '));
    const std::string answer = "\x02T\n" + Mark();
    Later(kMs, kSecond, [this, id, answer] {
      SendText(Code::kTask, TaskBody(id, answer, order_), "result " + id + " " + answer);
    });
  }
}

void Server::OnBatch(const std::string& text) {
  std::vector<std::string> requests;
  const bool trueAcks = script_.acks != ServerScript::Doubled && script_.acks != ServerScript::Surplus;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t middle = text.find('\n', at);
    if (middle == std::string::npos) Fail("torn", "half a request in a batch");
    const std::size_t end = std::min(text.find('\n', middle + 1), text.size());
    requests.push_back(text.substr(at, end - at));
    world_.OnPaced(requests.back(), link_, trueAcks);
    at = end + 1;
  }
  Acknowledge(requests);
}

// ---- sending ----

// No effect once the run has released the line.
void Server::Later(Ns least, Ns most, std::function<void()> what) {
  world_.scheduler_.At(world_.Now() + draw_.Time(least, most),
                       [self = line_.shared_from_this(), what = std::move(what)] {
                         if (self->far) what();
                       });
}

void Server::Send(std::string packet, const std::string& expected) {
  if (ended_ || !answered_) return;
  if (CodeOf(packet) != Code::kConnect) Scramble(packet, script_.key);
  line_.Write(packet);
  if (!expected.empty()) world_.links[link_].expected.push_back({expected, line_.Written()});
}

void Server::SendText(int code, const std::string& text, const std::string& expected) {
  const std::size_t piece = draw_.Chance(300) ? draw_.From(1, 4090) : kMaxPieceBody;
  const auto packets = TextPackets(code, text, order_, std::max(piece, text.size() / 40 + 1));
  for (std::size_t i = 0; i < packets.size(); ++i) {
    if (draw_.Chance(50)) Send(Packet(Code::kHeartbeat, {}));
    std::string packet = packets[i];
    // Announces more bytes than it contains.
    if (CodeOf(packet) == Code::kPiece && draw_.Chance(30))
      packet[kHeadSize] = packet[kHeadSize + 1] = '\xFF';
    Send(packet, i + 1 == packets.size() ? expected : "");
  }
}

// Different from every other text of the run.
std::string Server::Mark() {
  std::string text = "L" + std::to_string(link_) + "." + std::to_string(++marks_) + " ";
  const unsigned sizes[] = {0, 30, 4070, 4100, 9000};
  text.append(sizes[draw_.Chance(900) ? draw_.Below(2) : draw_.Below(5)] + draw_.Below(20),
              static_cast<char>('a' + marks_ % 26));
  return text;
}

void Server::HangUp() {
  world_.links[link_].hungUp = true;
  ended_ = true;
  line_.End(draw_.Chance(500) ? Cut::Finish : Cut::Reset);
}

void Server::SendHello(bool refuse) {
  answered_ = true;
  ConnectAnswer answer;
  answer.outcome = refuse ? 1 : 0;
  answer.name = "S" + std::to_string(link_);
  if (script_.mode != 0 || !script_.key.empty()) answer.items.push_back(EncItem(script_.mode, script_.key));
  if (refuse) answer.items.push_back(ErrorItem("full"));
  Send(ConnectResult(answer, order_), refuse ? "connect -6 full" : "connect 2 ");
  if (refuse && script_.hangUp) HangUp();
}

void Server::SendSignOn(bool refuse) {
  if (refuse) {
    Send(SignOnReply(0, "", "who?", order_), "connect -5 who?");
    if (script_.hangUp) HangUp();
    return;
  }
  if (script_.replyFirst) Send(SignOnReply(7, "", "welcome", order_));
  const std::string rate = std::to_string(world_.story.pace) + "\x01" + std::to_string(world_.story.paceMs);
  const std::string text = "\x02head\n\x03QueryRate\x01QueryRateMS\n" + rate + "\n\x02link\n\x03id\n" +
                           std::to_string(link_) + "\n";
  SendText(Code::kTask, TaskBody("Sgn.Result", text, order_), "ready");
  if (!std::exchange(reporting_, true)) Later(kMs, script_.reportGap, [this] { SendReport(); });
}

void Server::SendReport() {
  if (ended_) return;
  if (static_cast<int>(marks_) >= script_.badPacketAfter && script_.badPacketAfter >= 0) {
    ended_ = true;
    world_.links[link_].badPacket = true;
    line_.Write(std::string("\0\0\x82", 3));
    return;
  }
  const std::string text = Mark();
  const unsigned which = draw_.Below(10);
  if (which == 0) {
    SendText(200, text, "unknown 200 " + text);
  } else if (which == 1) {
    SendText(Code::kAck2, text, "ack 131 " + text);
  } else {
    SendText(Code::kReport, text, "report " + text);
  }
  if (marks_ < script_.reports) Later(kMs / 10, script_.reportGap, [this] { SendReport(); });
}

void Server::Acknowledge(const std::vector<std::string>& requests) {
  if (script_.acks == ServerScript::Missing && draw_.Chance(300)) return;
  const Ns slow = script_.acks == ServerScript::Slow ? 10 * kSecond : 200 * kMs;
  const unsigned surplus = script_.acks == ServerScript::Surplus ? draw_.Below(4) : 0;
  std::string text = world_.AckLine(requests[0]);
  if (text.empty()) text = Mark();
  for (std::size_t i = 1; i < requests.size() + surplus; ++i) {
    const std::string line = i < requests.size() ? world_.AckLine(requests[i]) : "";
    text += "\n" + (line.empty() ? "ack" : line);
  }
  for (int i = script_.acks == ServerScript::Doubled ? 2 : 1; i > 0; --i) {
    lastAck_ = std::max(lastAck_, world_.Now() + draw_.Time(kMs / 10, slow));
    SendAck(lastAck_, text);
  }
}

// Not before the connect result.
void Server::SendAck(Ns at, const std::string& text) {
  Later(at - world_.Now(), at - world_.Now(), [this, text] {
    if (!answered_ && !ended_) return SendAck(world_.Now() + kSecond, text);
    SendText(Code::kAck, text, "ack 129 " + text);
  });
}

}  // namespace vektest
