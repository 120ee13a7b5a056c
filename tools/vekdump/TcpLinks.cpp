#include "vekdump/TcpLinks.h"

#include <algorithm>
#include <tuple>

#include "protocol/Packet.h"
#include "vekdump/Looks.h"

namespace VekDump {

// What one side of a connection sent.
class TcpLinks::Sink final : public StreamSink {
 public:
  Sink(TcpLinks& links, Connection& connection, bool fromFirst)
      : links_(links), connection_(connection), fromFirst_(fromFirst) {}

  void OnData(std::string_view bytes) override {
    if (connection_.use == Use::Unknown) links_.Decide(connection_, fromFirst_, bytes);
    if (connection_.use == Use::Ours)
      links_.events_.OnBytes(connection_.link, connection_.last, From(), bytes, connection_.fromStart);
  }
  void OnHole(std::uint64_t count) override {
    if (connection_.use == Use::Ours)
      links_.events_.OnMissing(connection_.link, connection_.last, From(), count);
  }

 private:
  Side From() const { return fromFirst_ == connection_.clientIsFirst ? Side::Client : Side::Server; }

  TcpLinks& links_;
  Connection& connection_;
  const bool fromFirst_;
};

// A reused port starts another connection.
TcpLinks::Connection& TcpLinks::ConnectionOf(const Segment& segment) {
  Connection& found = connections_[std::minmax(segment.from, segment.to)];
  const bool opens = segment.syn && !segment.ack;
  if (opens && found.over) found = Connection();
  if (found.first.port == 0 && found.second.port == 0) {
    found.first = segment.from;
    found.second = segment.to;
    found.fromStart = segment.syn;
    found.clientIsFirst = !segment.ack || !segment.syn;
  }
  return found;
}

void TcpLinks::Add(const Segment& segment, Moment at) {
  if (serverPort_ != 0 && segment.from.port != serverPort_ && segment.to.port != serverPort_) return;
  Connection& connection = ConnectionOf(segment);
  connection.last = at;
  const bool fromFirst = segment.from == connection.first;
  TcpStream& stream = connection.streams[fromFirst ? 0 : 1];
  TcpStream& other = connection.streams[fromFirst ? 1 : 0];
  Sink otherSink(*this, connection, !fromFirst);
  if (segment.ack && other.Started()) other.Acknowledged(segment.acknowledged, otherSink);
  Sink sink(*this, connection, fromFirst);
  if (segment.syn) {
    if (!stream.Started()) stream.Start(segment.sequence + 1);
  } else {
    stream.Add(segment, sink);
  }
  const bool byClient = fromFirst == connection.clientIsFirst;
  if (segment.reset) return Flush(connection, byClient ? "reset by the client" : "reset by the server");
  if (stream.Finished()) EndLink(connection, byClient ? "closed by the client" : "closed by the server");
}

// For a connection whose start was not seen: decided by its handshake, else the lower port is the server's.
bool TcpLinks::ClientIsFirst(const Connection& connection, bool fromFirst, std::string_view bytes) {
  if (VekApi::PkCode(bytes.data()) != VekApi::PkConnect)
    return connection.second.port < connection.first.port;
  const auto request = VekApi::ReadConnectRequest(bytes);
  return (request && request->kind == VekApi::kClientKind) == fromFirst;
}

void TcpLinks::Decide(Connection& connection, bool fromFirst, std::string_view bytes) {
  if (serverPort_ != 0) {
    connection.clientIsFirst = connection.second.port == serverPort_;
    connection.use = Use::Ours;
  } else if (connection.fromStart) {
    const bool isOurs = fromFirst == connection.clientIsFirst && VekApi::MayBeConnectRequest(bytes);
    connection.use = isOurs ? Use::Ours : Use::NotOurs;
  } else if (LooksLikePackets(bytes)) {
    connection.clientIsFirst = ClientIsFirst(connection, fromFirst, bytes);
    connection.use = Use::Ours;
  } else {
    connection.use = Use::NotOurs;
  }
  if (connection.use == Use::NotOurs) {
    ++leftOut_;
    return;
  }
  connection.link = ++links_;
  const auto [client, server] = connection.clientIsFirst ? std::tie(connection.first, connection.second)
                                                         : std::tie(connection.second, connection.first);
  events_.OnLinkUp(connection.link, connection.last, client.Text() + " to " + server.Text());
}

void TcpLinks::EndLink(Connection& connection, std::string_view reason) {
  if (connection.use == Use::Ours && !connection.over)
    events_.OnLinkEnd(connection.link, connection.last, reason);
  connection.over = true;
}

void TcpLinks::Flush(Connection& connection, std::string_view reason) {
  for (const bool first : {true, false}) {
    Sink sink(*this, connection, first);
    connection.streams[first ? 0 : 1].End(sink);
  }
  if (!reason.empty()) EndLink(connection, reason);
}

void TcpLinks::End() {
  for (auto& [key, connection] : connections_) Flush(connection, {});
}

}  // namespace VekDump
