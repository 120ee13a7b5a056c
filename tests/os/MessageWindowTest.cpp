#include "platform/os/MessageWindow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/os/Event.h"
#include "platform/os/MessagePump.h"
#include "platform/os/Thread.h"

namespace Dova::Os {
namespace {

constexpr unsigned kFirst = 1100;  // in the range reserved for window classes on every system

// A window with scripted reactions to its messages.
class Window final : public TMessageHandler {
 public:
  explicit Window(std::function<void(const TMessage&)> handle = {})
      : handle_(std::move(handle)), window_(AllocateHWnd_Impl(*this)) {}
  ~Window() { Deallocate(); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  void Deallocate() {
    if (!gone.load()) DeallocateHWnd(window_);
  }
  TMessageWindow& operator*() { return *window_; }
  TMessageWindow* operator->() { return window_.get(); }

  std::atomic<bool> gone{false};
  std::thread::id goneOn;

 private:
  bool OnMessage(const TMessage& message) noexcept override {
    if (message.code < kFirst || message.code > kFirst + 100) return false;
    if (handle_) handle_(message);
    return true;
  }
  void OnWindowGone() noexcept override {
    goneOn = std::this_thread::get_id();
    gone = true;
  }

  std::function<void(const TMessage&)> handle_;
  const TWindowRef window_;
};

// Messages posted as fast as they are handled must not keep the caller longer than those present at the call.
TEST(MessageWindow, DispatchComesBackToTheCaller) {
  int left = 3 * kMessagesAtOnce;
  Window window([&](const TMessage&) {
    if (--left > 0) window->Post(kFirst);
  });
  window->Post(kFirst);
  EXPECT_LE(DispatchMessages(0), kMessagesAtOnce);
  EXPECT_GT(left, 0);
  while (left > 0) DispatchMessages(-1);
}

// Continued long work, and two windows that post to each other without end.
TEST(MessageWindow, WhatIsPostedLastComesLastAndComes) {
  std::string seen;
  int rounds = 0;
  Window busy([&](const TMessage&) {
    if (seen.size() < 30) seen += 'p';
    busy->Post(kFirst);
  });
  Window window([&](const TMessage& message) {
    if (message.code != kFirst + 1) return;
    seen += 'l';
    if (++rounds < 3) {
      EXPECT_TRUE(window->PostLast(kFirst + 1));
    }
  });
  window->Post(kFirst);
  busy->Post(kFirst);
  EXPECT_TRUE(window->PostLast(kFirst + 1));
  EXPECT_TRUE(window->PostLast(kFirst + 1)) << "once for each code";
  while (rounds < 3) DispatchMessages(-1);
  EXPECT_EQ(seen[0], 'p');
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 'l'), 3);
  window->PostLast(kFirst + 1);
}

// How a window's thread may wait while others send to it.
const std::function<void(const std::function<void()>&)> kWaits[] = {
    [](const std::function<void()>& other) {
      TEvent done;
      std::thread thread([&] {
        other();
        done.Set();
      });
      EXPECT_TRUE(done.Wait());
      thread.join();
    },
    [](const std::function<void()>& other) {
      TThread thread;
      ASSERT_TRUE(thread.Start("sender", other));
      EXPECT_TRUE(thread.Join());
    },
    [](const std::function<void()>& other) {
      std::atomic<bool> done{false};
      std::thread thread([&] {
        other();
        done = true;
      });
      while (!done) EXPECT_GE(DispatchMessages(5), 0);
      thread.join();
    },
};

TEST(MessageWindow, SentMessagesAreAnsweredInEveryWait) {
  for (const auto& wait : kWaits) {
    int posted = 0;
    std::uintptr_t sum = 0;  // unguarded on purpose: ThreadSanitizer checks it
    Window window([&](const TMessage& message) {
      if (message.code == kFirst) ++posted;
      if (message.code == kFirst + 1) sum += message.first + message.second;
    });
    wait([&] {
      for (std::uintptr_t i = 1; i <= 100; ++i) {
        window->Send({kFirst + 1, i, 1000});
        ASSERT_EQ(sum, i * (i + 1) / 2 + 1000 * i);
      }
    });
    EXPECT_EQ(posted, 0);
    window->Send({kFirst + 1, 1, 0});
    EXPECT_EQ(sum, 105'051u) << "to the own thread it is a call";
  }
}

// Posted messages stay queued; nested waits inside answers are answered too.
TEST(MessageWindow, WaitsInsideAnswers) {
  int posted = 0;
  int depth = 0;
  int deepest = 0;
  std::vector<std::thread> threads;
  Window window([&](const TMessage& message) {
    if (message.code == kFirst) ++posted;
    if (message.code == kFirst || message.first == 0) return;
    deepest = std::max(deepest, ++depth);
    TEvent done;
    threads.emplace_back([&, level = message.first] {
      window->Post(kFirst);
      window->Send({kFirst + 1, level - 1});
      done.Set();
    });
    done.Wait();
    --depth;
  });
  window->Send({kFirst + 1, 5});
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(deepest, 5);
  EXPECT_EQ(posted, 0);
  DispatchMessages(0);
  EXPECT_EQ(posted, 5);
}

TEST(MessageWindow, TwoThreadsMaySendToEachOtherAtOnce) {
  std::atomic<int> answers{0};
  TMessageWindow* windows[2] = {};
  TEvent ready[2];
  std::atomic<int> finished{0};
  const auto run = [&](int me) {
    Window window([&](const TMessage&) { ++answers; });
    windows[me] = &*window;
    ready[me].Set();
    TEvent& others = ready[1 - me];
    others.Wait();
    for (int i = 0; i < 500; ++i) windows[1 - me]->Send({kFirst, 0, 0});
    ++finished;
    while (finished < 2) DispatchMessages(1);
  };
  std::thread one(run, 0);
  std::thread two(run, 1);
  one.join();
  two.join();
  EXPECT_EQ(answers, 1000);
}

TEST(MessageWindow, TimeoutHoldsUnderFire) {
  Window window;
  std::atomic<bool> stop{false};
  std::thread other([&] {
    while (!stop) window->Send({kFirst, 0, 0});
  });
  TEvent never;
  EXPECT_FALSE(never.Wait(50));
  stop = true;
  while (!window.gone) {
    DispatchMessages(5);
    window.Deallocate();  // releases the last thread
  }
  other.join();
}

TEST(MessageWindow, DeallocatingLetsSendersGo) {
  for (const bool threadEnds : {false, true}) {
    std::thread sender;
    std::atomic<bool> gone{false};
    std::thread owner([&] {
      auto* const window = new Window;  // the sender deallocates it if a thread ends it
      sender = std::thread([&gone, window] {
        while (!gone) (*window)->Send({kFirst, 0, 0});
        delete window;
      });
      DispatchMessages(-1);
      if (!threadEnds) window->Deallocate();
      gone = true;
    });
    owner.join();
    sender.join();
  }
}

TEST(MessageWindow, AnotherThreadMayDeallocate) {
  Window window;
  std::atomic<bool> done{false};
  std::thread other([&] {
    window.Deallocate();
    done = true;
  });
  while (!done) DispatchMessages(5);
  other.join();
  EXPECT_TRUE(window.gone);
  EXPECT_EQ(window.goneOn, std::this_thread::get_id());
  EXPECT_EQ(window->Post(kFirst), EPost::Gone);
  EXPECT_FALSE(window->IsThere());
  window->Send({kFirst, 0, 0});
}

}  // namespace
}  // namespace Dova::Os
