#ifndef VEKAPI_VEKFLOWCTRLSENDER_H
#define VEKAPI_VEKFLOWCTRLSENDER_H

#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekFlowCtrl.h"

namespace VekApi {

class TRequestPort;
class VekClient;

// A gate that sends requests itself, with code 129. A request is sent immediately if the gate allows it and
// none is held. Otherwise it is held and sent as soon as the gate allows, in one message with all others
// allowed by then. Requests are sent in the order of the calls; none overtakes another.
//
// The application sets the rate (SetFlowCtrl) and reports every acknowledgement (VekAckParser). Without a
// rate requests are sent immediately. After SetFlowCtrl and Clear the timer soon sends the held requests that
// the new rate allows.
//
// Requests held when a link ends stay held. They are sent in the next session as soon as the gate allows, or
// refused while there is none. If orders must not outlive their session, call TakePending when the state
// falls below vcs_Connected.
//
// A request is two lines, the second without a trailing line feed. Buffers start with five bytes reserved for
// the library, followed by the text; `length` counts both. Buffers are modified, as by
// VekClient::SendVekRequest. A request that the link refuses is lost and counts as sent (see RefusedCount): a
// message is limited to 1 GiB and must fit into the free space of the messenger's send queue.
//
// Errors: all but destruction and the counts may throw std::bad_alloc. Of a call that does, nothing was sent,
// held or removed.
//
// Threads: everything except construction and destruction is thread-safe; calls are serialised. For the
// destructor, the locks, and what is forbidden under them, see VekFlowCtrl. In a forked child an inherited
// sender has no held requests, and neither sends nor holds any.
class VEKAPI_EXPORT VekFlowCtrlSender : public VekFlowCtrl {
 public:
  // `client` is not owned and need not be connected. After its destruction all requests are refused.
  explicit VekFlowCtrlSender(VekClient& client);

  // Drops the held requests without sending them.
  ~VekFlowCtrlSender() override;

  // Number of held requests.
  unsigned PendingCount() const;

  // Number of requests the link refused since the sender was created: not sent and not held.
  unsigned RefusedCount() const;

  // Removes and returns all held requests, oldest first; none of them will be sent. Call it when a session
  // has ended whose orders must not be sent in the next one.
  std::deque<std::string> TakePending();

  // Removes the oldest held request: copies its text into `buffer`, which has space for `size` bytes. Returns
  // its length, or 0 if nothing is held. A text longer than `size` stays held; its length is returned and
  // nothing is copied.
  unsigned TakePending(char* buffer, unsigned size);

  // Sends or holds one request. Returns true if nothing is held after the call; false if a request is held,
  // or if `length` is below 6 (the call then does nothing).
  bool SendVekRequest(char* buffer, unsigned length);

  // Sends or holds several requests, one text each, without reserved bytes. Those allowed now are sent in one
  // message. Returns their number; requests held by earlier calls are not counted.
  unsigned SendVekRequests(const std::deque<std::string>& requests);

  // The same for requests in one buffer: pairs of lines, separated by line feeds. Those allowed now are sent
  // in place, in one message. A last line without a partner is dropped.
  unsigned SendVekRequests(char* buffer, unsigned length);

 protected:
  // Called under the user lock, like OnVekFlowCtrlFree, when the link has accepted `requests` held requests
  // (`taken` true), or has refused `requests` requests, held before or not (`taken` false).
  virtual void OnVekRequestsSent(unsigned requests, bool taken);

 private:
  void OnVekFlowCtrlFree() override;

  bool Holding() const { return sending_ || !pending_.empty(); }
  void CheckWhenHolding();
  bool Send(char* buffer, std::size_t length, unsigned requests);
  void Hold(const char* first, const char* last);
  void AppendRequests(const char* first, const char* last, unsigned counted);
  // After a failure: holds the first `before` requests only, and gives back `counted` places.
  void TakeBack(std::size_t before, unsigned counted) noexcept;
  unsigned FillBatch(const std::deque<std::string>& requests);

  std::shared_ptr<TRequestPort> port_;
  // Guarded by the user lock:
  std::deque<std::string> pending_;
  std::string batch_;
  unsigned refused_ = 0;
  bool sending_ = false;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKFLOWCTRLSENDER_H
