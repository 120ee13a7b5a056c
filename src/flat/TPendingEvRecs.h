#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "flat/TEventBatch.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/runtime/TLoopPost.h"
#include "platform/runtime/TSyncContext.h"
#include "vekapi/VekTaskResult.h"
#include "vekapi/VekTypes.h"

// Kinds of events queued for a message loop's thread.
enum EPendingEv : std::int32_t {
  pev_UnknownMsgCode = 1,  // num: message code; text: the packet
  pev_Connect = 2,         // text: reason
  pev_ApReady = 3,
  pev_RequestAck = 4,  // num: message code; text: ack text
  pev_Report = 5,      // text: report
};

// A borrowed result: a task result, or the user and text of a password result.
struct TLent {
  const VekApi::VekTaskResult* result = nullptr;
  const std::string* user = nullptr;
  const std::string* resultText = nullptr;
};

// A result sent to the window, valid until it has been answered. Meanwhile the sending thread lends its place
// inside the context.
struct TLoan {
  Dova::Os::TMessage message;
  TLent lent;
  Dstl::wise_ref<Dova::TSyncContext> context;
  std::uintptr_t lender;
  VekApi::EVekClientState state;
  int patience;  // while positive, the events before it are delivered first, in messages of their own
  std::uint64_t behind = 0;
  std::uint64_t seen = UINT64_MAX;  // number of events delivered when it was postponed
  TSessionViewRef view{};
  bool answered = false;  // set by the window's thread: delivered, or postponed
  bool over = false;      // will not be delivered, or not again
  TLoan* next = nullptr;
};

// The queued events, in arrival order, and the results that must follow some of them. Outlives the loop while
// a thread waits for its answer.
class TPendingEvRecs {
 public:
  // How often a result is postponed by a thread that delivers no event meanwhile.
  static constexpr int kPatience = 4;

  // The first event queued posts `code` to the window.
  TPendingEvRecs(Dova::Os::TWindowRef window, unsigned code);

  // ---- the raising thread ----

  // Its view is that of SetView.
  void Push(TPendingEv event);
  // The link ends for lack of memory: the last event of a session, queued without allocating.
  void PushNoMemory(VekApi::EVekClientState state) noexcept;

  // For the events pushed from now on.
  void SetView(TSessionViewRef view);
  TSessionViewRef View();

  // Accepts and delivers nothing more; waiting results are over.
  void Close();

  bool Add(TLoan& loan);
  void Remove(TLoan& loan);
  // True if it was postponed; otherwise it is over, or the window is gone.
  bool WasPutOff(TLoan& loan);
  // Waits until the events before it have been delivered, or for a limited time.
  void WaitForTurn(const TLoan& loan);

  // ---- the window's thread ----

  // Removes the first event, unless it must follow a result. Its text is valid as long as `batch` is held.
  // `batch` is null at first, and then what the previous call made of it.
  bool Pop(TPendingEv& event, TEventBatchRef& batch);
  // Posts another message if events remain.
  void PostAgain();

  // The result sent with a message; null if none of our threads sent it.
  TLoan* Answer(const Dova::Os::TMessage& message);
  // True if events are queued before it and it can wait for them. It stops waiting for a thread that keeps
  // answering without delivering them.
  bool PutOff(TLoan& loan);
  void SetOver(TLoan& loan);

 private:
  using TLock = std::lock_guard<Dova::Os::TMutex>;
  using TBatches = std::list<TEventBatchRef>;

  bool IsEmpty(const TLock&) const { return pushed_ == popped_ && !noMemory_; }
  TEventBatch& BatchFor(std::size_t textBytes, const TLock&);
  bool MayPop(const TLock&);
  bool NextBatch(const TLock&);
  void Recycle(const TLock&);
  void TrimSpares(const TLock&);
  bool PopNoMemory(TPendingEv& event, const TLock&);
  void CloseWith(TBatches& dropped, const TLock&);

  const Dova::Os::TWindowRef window_;
  TLoopPost post_;
  Dova::Os::TMutex mutex_;  // leaf
  TBatches batches_;        // the last one is being filled
  TBatches reading_;        // at most one, no longer in `batches_`
  TBatches spares_;
  std::size_t mostBatches_ = 0;           // at once since TrimSpares
  int runs_ = 0;                          // how often the queue ran empty since then
  std::uint64_t pushed_ = 0;              // total so far
  std::atomic<std::uint64_t> popped_{0};  // the same; set by the window's thread
  // Until so many have been popped, the events of `reading_` need not wait for a result.
  std::atomic<std::uint64_t> free_{0};
  TLoan* loans_ = nullptr;
  TSessionViewRef view_;
  bool viewPushed_ = true;  // with an event
  bool closed_ = false;
  bool noMemory_ = false;
  std::uint64_t noMemoryBehind_ = 0;
  VekApi::EVekClientState noMemoryState_ = VekApi::vcs_None;
  Dova::Os::TEvent handedOut_;  // set when all events before some result are delivered
};
