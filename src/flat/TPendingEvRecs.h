#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

// An event that waits for the thread of a message loop.
enum EPendingEv : std::int32_t {
  pev_UnknownMsgCode = 1,  // num: message code; text: the packet
  pev_Connect = 2,         // text: reason
  pev_ApReady = 3,
  pev_RequestAck = 4,  // num: message code; text: ack text
  pev_Report = 5,      // text: report
};

struct TPendingEvRec {
  std::int32_t kind = 0;
  std::int32_t num = -1;
  std::string text{};  // any bytes
};

// The events that wait, in the order of their coming.
struct TPendingEvRecs {
  std::mutex mutex;  // leaf
  std::deque<TPendingEvRec> recs;
  std::uint64_t pushed = 0;  // of all times
  bool closed = false;       // the client is being deleted: nothing more is taken or handed out

  // The first, when it is among the first `upTo` of all times.
  bool Pop(TPendingEvRec& rec, std::uint64_t upTo) {
    const std::lock_guard lock(mutex);
    if (recs.empty() || pushed - recs.size() >= upTo) return false;
    rec = std::move(recs.front());
    recs.pop_front();
    return true;
  }

  std::uint64_t Pushed() {
    const std::lock_guard lock(mutex);
    return pushed;
  }

  void Close() {
    std::deque<TPendingEvRec> dropped;
    const std::lock_guard lock(mutex);
    closed = true;
    recs.swap(dropped);
  }
};
