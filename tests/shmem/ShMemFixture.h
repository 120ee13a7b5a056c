// A shared-memory messenger whose proxy link and gateway are the test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "shmem/Process.h"
#include "shmem/TShMemCli.h"
#include "sim/SimRings.h"
#include "support/SessionFixture.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"

namespace vektest {

// Records the messenger's events, one line each, and the received bytes.
class MesRecorder : public Dova::TMesEvHandler {
 public:
  std::function<void(const std::string&)> onEvent;  // called inside the event, with its line

  void OnMesLinkReady(Dova::TMesBase*) override { Note("ready"); }
  void OnMesLinkError(Dova::TMesBase*, const std::string& reason) override { Note("error " + reason); }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override { Note("broken " + reason); }
  void OnMesSendEmpty(Dova::TMesBase*) override { Note("empty"); }
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    char buffer[5000];
    for (int count = 0; (count = mes->Recv(buffer, sizeof buffer)) > 0;) {
      const std::lock_guard lock(mutex_);
      received_.append(buffer, static_cast<std::size_t>(count));
    }
    Note("received");
  }

  bool WaitFor(const std::string& line) {
    return WaitUntil([&] { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); });
  }
  // The line that reports the link's end.
  std::string WaitForEnd() {
    std::string end;
    WaitUntil([&] {
      if (!lines_.empty()) end = lines_.back();
      return end.rfind("error ", 0) == 0 || end.rfind("broken ", 0) == 0;
    });
    return end;
  }
  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
    received_.clear();
  }
  bool WaitForBytes(const std::string& bytes) {
    return WaitUntil([&] { return received_ == bytes; });
  }
  // All lines except those for data and space, whose number varies.
  std::vector<std::string> LinkLines() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> lines;
    for (const std::string& line : lines_) {
      if (line != "received" && line != "empty") lines.push_back(line);
    }
    return lines;
  }

 private:
  template <class TPredicate>
  bool WaitUntil(const TPredicate& predicate) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60), predicate);
  }
  void Note(const std::string& line) {
    {
      const std::lock_guard lock(mutex_);
      lines_.push_back(line);
    }
    if (onEvent) onEvent(line);
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::string received_;
};

class ShMemTest : public testing::Test {
 protected:
  ShMemTest() { Open(); }
  ~ShMemTest() override { Close(); }

  void Open() {
    Close();
    mes = Dova::TShMemCli::Make();
    EXPECT_TRUE(mes->SettingApply("TestMes:ok"));
    mes->SetEvHandler(&events);
    const Dova::TSyncScope inside(mes->SyncContext());
    EXPECT_TRUE(mes->Open());
    proxy = TestMes::Last();
  }

  bool Create(std::uint32_t ringBytes) {
    const bool made = rings.Create(FreshName(), ringBytes);
    base = rings.BaseName();
    return made;
  }

  // The rings exist and the gateway announces them.
  void Link(std::uint32_t ringBytes = 1000) {
    ASSERT_TRUE(Create(ringBytes));
    proxy->Ready();
    proxy->TakeSent();
    proxy->Deliver("Ack:ShMemName:" + base + "\n");
    ASSERT_EQ(events.LinkLines(), Lines{"ready"});
  }
  void Close() {
    if (!mes) return;
    const Dova::TSyncScope inside(mes->SyncContext());
    mes->SetEvHandler(nullptr);
    mes->Close();
    mes.reset();
  }

  TestSupport::TVirtualTimerQueue time;
  MesRecorder events;
  Dstl::wise_ref<Dova::TMesBase> mes;
  Dstl::wise_ref<TestMes> proxy;
  std::string base;
  VekSim::SimRings rings;
};

}  // namespace vektest
