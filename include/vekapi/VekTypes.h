// Enumerations shared by several classes.
#ifndef VEKAPI_VEKTYPES_H
#define VEKAPI_VEKTYPES_H

#include <cstdint>

// Byte order of the server, determined while connecting. Applies to all two- and four-byte numbers in packet
// bodies.
enum EVekEndian : std::int32_t {
  vek_LittleEndian = 0,  // least significant byte first
  vek_BigEndian = 1,     // most significant byte first
};

// Account market of a result table: the number in the table's "mkt" attribute. The server may send numbers
// without a member here; the type holds any 32-bit value.
enum EVekAccMkt : std::int32_t {
  vam_None = 0,            // no "mkt" attribute
  vam_Stock = 1,           // domestic securities
  vam_Futures = 2,         // domestic futures and options
  vam_ForeignFutures = 3,  // foreign futures and options
  vam_ForeignStock = 4,    // foreign securities
};

namespace VekApi {

// States of a session. It counts as connected from vcs_Connected on, and at vcs_SgnError, where the link
// stays open for a password change.
enum EVekClientState : std::int32_t {
  vcs_HeartbeatTimeout = -7,  // no data from the server during a heartbeat period; the link stays open
  vcs_ConnectError = -6,      // the server refused the connect request and gave the reason
  vcs_SgnError = -5,          // the server refused the sign-on; the link stays open
  vcs_UnknownServer = -4,     // the server did not answer the connect request within a heartbeat period
  vcs_LinkBroken = -3,        // the link broke, or received bytes were not valid packets
  vcs_LinkError = -2,         // the link could not be opened
  vcs_Disconnected = -1,      // after Disconnect
  vcs_None = 0,               // new client
  vcs_Connecting = 1,         // Connect was called; the link is being opened
  vcs_Connected = 2,          // connect request accepted, sign-on sent
  vcs_ApReady = 3,            // signed on; requests may be sent
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTYPES_H
