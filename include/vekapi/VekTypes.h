// Enumerations that several classes share.
#ifndef VEKAPI_VEKTYPES_H
#define VEKAPI_VEKTYPES_H

#include <cstdint>

// Byte order of the server, learnt while connecting. Governs every two- and four-byte number inside packet
// bodies.
enum EVekEndian : std::int32_t {
  vek_LittleEndian = 0,  // least significant byte first
  vek_BigEndian = 1,     // most significant byte first
};

// Account market of a result table: the number of the table's "mkt" attribute as the server sent it. The
// server may use numbers that have no member here; the type holds any 32-bit value.
enum EVekAccMkt : std::int32_t {
  vam_None = 0,            // no "mkt" attribute
  vam_Stock = 1,           // domestic securities
  vam_Futures = 2,         // domestic futures and options
  vam_ForeignFutures = 3,  // foreign futures and options
  vam_ForeignStock = 4,    // foreign securities
};

namespace VekApi {

// Where a session stands. A session counts as connected from vcs_Connected on, and at vcs_SgnError: the link
// is kept there so that the password can be changed.
enum EVekClientState : std::int32_t {
  vcs_HeartbeatTimeout =
      -7,                  // nothing came from the server during a heartbeat period; the link is not closed
  vcs_ConnectError = -6,   // the server refused the connect request; the reason is the server's
  vcs_SgnError = -5,       // the server refused the sign-on; the link stays up
  vcs_UnknownServer = -4,  // a heartbeat period passed and the server never answered the connect request
  vcs_LinkBroken = -3,     // the link broke, or what came on it was no stream of packets
  vcs_LinkError = -2,      // the link could not be opened
  vcs_Disconnected = -1,   // after Disconnect
  vcs_None = 0,            // new client
  vcs_Connecting = 1,      // Connect was called; the link is being opened
  vcs_Connected = 2,       // connect request accepted, sign-on sent
  vcs_ApReady = 3,         // signed on; requests may be sent
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTYPES_H
