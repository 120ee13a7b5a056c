#include "vekterm/Advice.h"

#include "vekapi/VekSessionC.h"

namespace VekTerm {
namespace {

struct Words {
  std::int32_t reason;
  const char* advice;
};

constexpr Words kWords[] = {
    {vsr_BadSetting, "Write the server as HOST:PORT, such as gw1:9000."},
    {vsr_ConnectFailed,
     "No connection: the port is wrong, the server does not run, or a firewall refuses. Compare host and "
     "port."},
    {vsr_ConnectTimeout,
     "Nothing answers: the address is wrong, or a firewall drops what is sent without an answer."},
    {vsr_ConnectRefused,
     "The server speaks the protocol and refuses this program; its words say why. Ask who runs the server."},
    {vsr_SignOnTimeout,
     "The server accepted the connection but does not answer the sign-on: it is overloaded or stuck."},
    {vsr_SignOnRefused,
     "User or password is wrong, or the user may not sign on: see the server's words. Too many wrong "
     "attempts may "
     "lock a user."},
    {vsr_SignOnTooLong, "User and password are limited to 255 bytes each."},
    {vsr_LinkBroken,
     "The server, or something on the way, ended the connection. If it happens again at once: the port may "
     "belong "
     "to another service, or the same user signs on elsewhere and displaces this session."},
    {vsr_BadStream, "What answers is not an order-routing server: the port belongs to another service."},
    {vsr_Silent, "The server has stopped answering, or the network in between is down."},
    {vsr_UnknownServer,
     "Something listens there but does not answer the connect request: it waits for another protocol, or it "
     "is "
     "stuck. Compare the port."},
    {vsr_ShortLinks,
     "Sessions end soon after they began: the same user is probably signed on elsewhere, and the two "
     "displace each "
     "other. Stop the other program."},
};

}  // namespace

std::string Advice(std::int32_t reason) {
  for (const Words& words : kWords)
    if (words.reason == reason) return words.advice;
  return {};
}

}  // namespace VekTerm
