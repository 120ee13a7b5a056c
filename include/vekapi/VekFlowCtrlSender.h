#ifndef VEKAPI_VEKFLOWCTRLSENDER_H
#define VEKAPI_VEKFLOWCTRLSENDER_H

#include <deque>
#include <memory>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekFlowCtrl.h"

namespace VekApi {

class TRequestPort;
class VekClient;

// A gate that sends the requests itself, with code 129. A request goes at once when the gate allows it and
// none is held; else it is held, and goes as soon as the gate allows, together with as many others as may go
// then, in one message. Requests leave in the order in which they came; none overtakes another.
//
// The application sets the rate (SetFlowCtrl) and hands in every acknowledgement (VekAckParser). Without a
// rate everything goes at once. After SetFlowCtrl and Clear what is held goes by the new rate, soon, from the
// timer.
//
// What is held when a link ends stays held, and goes into the next session as soon as the gate allows, or is
// refused while there is none. An application whose orders must not outlive their session calls TakePending
// when the state falls below vcs_Connected.
//
// A request has two lines, the second without a line feed behind it. Buffers start with five free bytes,
// which the library fills; the text follows, and `length` counts both. A buffer is consumed, as by
// VekClient::SendVekRequest. What the link does not take is lost, and counts as sent (RefusedCount tells): a
// message is at most 1 GiB, and must fit into what the messenger's send queue has left.
//
// Threads: everything but construction and destruction may be called on any thread. What several threads hand
// in at the same time goes one call after the other. For the destructor, the locks, and what must not be done
// under them, see VekFlowCtrl.
class VEKAPI_EXPORT VekFlowCtrlSender : public VekFlowCtrl {
 public:
  // `client` is not owned, and need not be connected. When it has gone the link refuses everything.
  explicit VekFlowCtrlSender(VekClient& client);

  // Forgets what is held, without sending it.
  ~VekFlowCtrlSender() override;

  // How many requests are held.
  unsigned PendingCount() const;

  // Requests that the link refused since the sender was made: they were not sent, and are not held.
  unsigned RefusedCount() const;

  // Takes everything that is held out of the sender, oldest first; none of it will be sent. To be called when
  // a session has ended whose orders must not go into the next one.
  std::deque<std::string> TakePending();

  // The same for the oldest one: copies its text into `buffer`. Answers its length, 0 when nothing is held. A
  // text longer than `size` stays where it is, and nothing is copied.
  unsigned TakePending(char* buffer, unsigned size);

  // One request, sent or held. True when nothing is held when the call returns; false when something is, or
  // when the length is below 6, which does nothing.
  bool SendVekRequest(char* buffer, unsigned length);

  // Several requests, a text each, without free bytes. Those that may go now go in one message; the others
  // are held. Answers how many went, which does not tell of those that went after having been held.
  unsigned SendVekRequests(const std::deque<std::string>& requests);

  // Several requests in one text, joined by line feeds: pairs of lines. Those that may go now go in one
  // message, in place; the others are held. A last line without a partner is dropped. Answers as above.
  unsigned SendVekRequests(char* buffer, unsigned length);

 protected:
  // `requests` that had been held have been given to the link, which has taken them or not; or any others
  // that it has not taken. Under the user lock, like OnVekFlowCtrlFree.
  virtual void OnVekRequestsSent(unsigned requests, bool taken);

 private:
  void OnVekFlowCtrlFree() override;

  bool Holding() const { return sending_ || !pending_.empty(); }
  void CheckWhenHolding();
  bool Send(char* buffer, std::size_t length, unsigned requests);
  void Hold(const char* first, const char* last);
  void AppendRequests(const char* first, const char* last);
  unsigned FillBatch(const std::deque<std::string>& requests);

  std::shared_ptr<TRequestPort> port_;
  // All under the user lock:
  std::deque<std::string> pending_;
  std::string batch_;
  unsigned refused_ = 0;
  bool sending_ = false;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFLOWCTRLSENDER_H
