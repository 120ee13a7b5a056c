// The TCP connections of a capture: which of them speak the protocol, which end is the client, and their
// bytes in order.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "vekdump/Links.h"
#include "vekdump/TcpStream.h"

namespace VekDump {

class TcpLinks {
 public:
  // With a port: every connection to it and no other; without: those that look like the protocol.
  TcpLinks(LinkEvents& events, std::uint16_t serverPort) : events_(events), serverPort_(serverPort) {}

  void Add(const Segment& segment, Moment at);
  // The end of the capture.
  void End();

  std::uint32_t Links() const { return links_; }
  std::uint32_t LeftOut() const { return leftOut_; }  // connections not of the protocol

 private:
  enum class Use { Unknown, Ours, NotOurs };

  struct Connection {
    Endpoint first, second;  // `first` sent the first segment that was seen
    TcpStream streams[2];    // of `first`, of `second`
    bool fromStart = false;
    bool over = false;
    bool clientIsFirst = true;
    Use use = Use::Unknown;
    std::uint32_t link = 0;
    Moment last{};
  };
  class Sink;

  Connection& ConnectionOf(const Segment& segment);
  static bool ClientIsFirst(const Connection& connection, bool fromFirst, std::string_view bytes);
  void Decide(Connection& connection, bool fromFirst, std::string_view bytes);
  void EndLink(Connection& connection, std::string_view reason);
  void Flush(Connection& connection, std::string_view reason);

  LinkEvents& events_;
  const std::uint16_t serverPort_;  // 0: not given
  std::map<std::pair<Endpoint, Endpoint>, Connection> connections_;
  std::uint32_t links_ = 0;
  std::uint32_t leftOut_ = 0;
};

}  // namespace VekDump
