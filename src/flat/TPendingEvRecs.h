#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "flat/TLoopPost.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/runtime/TSyncContext.h"
#include "vekapi/VekTaskResult.h"
#include "vekapi/VekTypes.h"

// An event that waits for the thread of a message loop.
enum EPendingEv : std::int32_t {
  pev_UnknownMsgCode = 1,  // num: message code; text: the packet
  pev_Connect = 2,         // text: reason
  pev_ApReady = 3,
  pev_RequestAck = 4,  // num: message code; text: ack text
  pev_Report = 5,      // text: report
};

// What a session knows of its server, as it was at some moment.
struct TSessionView {
  TSessionView(std::shared_ptr<const VekApi::VekTaskResult> result, std::string server)
      : sgnResult(std::move(result)), serverName(std::move(server)) {}

  std::shared_ptr<const VekApi::VekTaskResult> sgnResult;
  std::string serverName;
};
using TSessionViewRef = std::shared_ptr<const TSessionView>;

struct TPendingEvRec {
  std::int32_t kind = 0;
  std::int32_t num = -1;
  std::string text{};  // any bytes
  VekApi::EVekClientState state = VekApi::vcs_None;
  TSessionViewRef view{};  // null: that of the event before
};

// A task result; or whose password was changed, and the answer.
struct TLent {
  const VekApi::VekTaskResult* result = nullptr;
  const std::string* user = nullptr;
  const std::string* resultText = nullptr;
};

// A result that a thread has sent to the window, and that lives until it has been answered. The thread lends
// its place inside the context meanwhile.
struct TLoan {
  Dova::Os::TMessage message;
  TLent lent;
  Dstl::wise_ref<Dova::TSyncContext> context;
  std::uintptr_t lender;
  VekApi::EVekClientState state;
  int patience;  // while there is some, the events before it come first in messages of their own
  std::uint64_t behind = 0;
  std::uint64_t seen = UINT64_MAX;  // how many had been handed out when it was put off
  TSessionViewRef view{};
  bool answered = false;  // by the window's thread: delivered, or put off
  bool over = false;      // nobody will deliver it any more, or once more
  TLoan* next = nullptr;
};

// The events that wait, in the order of their coming, and the results that have to come behind some of them.
// Outlives the loop while a thread waits for its answer.
class TPendingEvRecs {
 public:
  // How often a result is put off by a thread that hands out nothing meanwhile.
  static constexpr int kPatience = 4;

  // The first event of a row posts `code` to the window.
  TPendingEvRecs(Dova::Os::TWindowRef window, unsigned code);

  // ---- the raising thread ----

  void Push(TPendingEvRec rec);
  // The link ends for want of memory: the last event of a session, which takes none.
  void PushNoMemory(VekApi::EVekClientState state) noexcept;

  // Of what is pushed from now on.
  void SetView(TSessionViewRef view);
  TSessionViewRef View();

  // Nothing more is taken or handed out; results that wait are over.
  void Close();

  bool Add(TLoan& loan);
  void Remove(TLoan& loan);
  // Whether it was put off; otherwise it is over, or nobody is there.
  bool WasPutOff(TLoan& loan);
  // Until the events before it have been handed out, or for a while.
  void WaitForTurn(const TLoan& loan);

  // ---- the window's thread ----

  // The first event, unless it has to come behind a result.
  bool Pop(TPendingEvRec& rec);
  // There is still something that a message must come for.
  void PostAgain();

  // The result that was sent with a message; null for a message that no thread of ours is sending.
  TLoan* Answer(const Dova::Os::TMessage& message);
  // Whether events wait that come before it, and it can wait for them. It is patient no more with a thread
  // that keeps answering and hands out none of them.
  bool PutOff(TLoan& loan);
  void SetOver(TLoan& loan);

 private:
  using TLock = std::lock_guard<Dova::Os::TMutex>;

  bool IsEmpty(const TLock&) const { return recs_.empty() && !noMemory_; }
  bool PopNoMemory(TPendingEvRec& rec, const TLock&);
  void CloseWith(std::deque<TPendingEvRec>& dropped, const TLock&);

  const Dova::Os::TWindowRef window_;
  TLoopPost post_;
  Dova::Os::TMutex mutex_;  // leaf
  std::deque<TPendingEvRec> recs_;
  std::uint64_t popped_ = 0;  // of all times
  std::uint64_t pushes_ = 0;
  TLoan* loans_ = nullptr;
  TSessionViewRef view_;
  bool viewPushed_ = true;  // with a record
  bool closed_ = false;
  bool noMemory_ = false;
  std::uint64_t noMemoryBehind_ = 0;
  VekApi::EVekClientState noMemoryState_ = VekApi::vcs_None;
  Dova::Os::TEvent handedOut_;  // everything that has to come before some result
};
