// Compares the fates of a session's requests with what servers saw of them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "vekapi/Session.hpp"

namespace vektest {

using namespace std::chrono_literals;
using VekApi::VekFate;
using VekApi::VekSession;

// Submits requests on two threads, so many outstanding at a time, until enough were accepted, and records
// what is reported about each.
class Trader {
 public:
  // Some requests are longer, a few of them by up to `longest` bytes: zeros, which no header begins with, so
  // that a server sees at once if a packet does not begin where the one before ended.
  Trader(const std::vector<std::string>& endpoints, int requests, const CVekSessionConfig& config,
         unsigned longest = 1)
      : requests_(requests),
        longest_(longest),
        told_(2 * requests + 1000),
        fates_(told_.size()),
        session_(config) {
    for (const std::string& endpoint : endpoints) session_.AddEndpoint(endpoint);
    session_.AddResync("stats");
    session_.Open("secret");
  }

  static CVekSessionConfig Config(std::int32_t ackRule) {
    CVekSessionConfig config = VekSession::Defaults();
    config.id1 = "trader";
    config.idPrefix = "made";  // distinct from those of the requests being judged
    config.ackRule = ackRule, config.idSeparator = '\x01';
    config.rateCount = 100, config.rateMs = 5;  // so that some are held
    config.firstDelayMs = 5, config.maxDelayMs = 50, config.maxShortLinks = 0;
    config.answerMs = 5000;
    return config;
  }

  void Run() {
    std::thread second([this] { SubmitAll(); });
    SubmitAll();
    second.join();
    session_.Close(2s);
    std::unique_lock lock(mutex_);
    settled_.wait_for(lock, 60s, [this] { return out_ == 0; });
    over_ = true;
    settled_.notify_all();
  }

  // Waits for so many more answers; false once all requests have their fates.
  bool AwaitAnswers(int count) {
    std::unique_lock lock(mutex_);
    const int wanted = answered_ + count;
    settled_.wait(lock, [&] { return over_ || answered_ >= wanted; });
    return !over_;
  }

  // "5 requests, 3 acknowledged, ...".
  std::string Words(const std::array<int, 8>& counts) const {
    std::string words = std::to_string(taken_) + " requests";
    for (int fate = vsf_Refused; fate <= vsf_Unknown; ++fate) {
      if (counts[fate] != 0)
        words += ", " + std::to_string(counts[fate]) + " " + CVekApi_Text(vst_Fate, fate, 0);
    }
    return words;
  }

  // Compares fates with records; returns the number of requests by fate.
  std::array<int, 8> Judge(std::map<int, int> seen) const {
    std::array<int, 8> counts{};
    for (int i = 0; i < next_; ++i) {
      const int fate = fates_[i], times = seen.contains(i) ? seen[i] : 0;
      EXPECT_EQ(told_[i], 1) << "w" << i << " has that many fates";
      EXPECT_LE(times, 1) << "w" << i << " was sent again; it was told " << CVekApi_Text(vst_Fate, fate, 0);
      const bool answered = fate == vsf_Acknowledged || fate == vsf_Answered;
      if (answered || fate == vsf_NeverSent || fate == vsf_Refused) {
        EXPECT_EQ(times, answered ? 1 : 0) << "w" << i << " was told " << CVekApi_Text(vst_Fate, fate, 0);
      }
      ++counts[fate];
      seen.erase(i);
    }
    EXPECT_TRUE(seen.empty()) << "nobody sent these";
    return counts;
  }

 private:
  static constexpr int kOut = 200;

  void SubmitAll() {
    while (taken_ < requests_) {
      {
        std::unique_lock lock(mutex_);
        settled_.wait(lock, [this] { return out_ < kOut; });
        ++out_;
      }
      SubmitOne(next_++);
    }
  }

  // A tenth are queries, a tenth are urgent.
  void SubmitOne(int i) {
    ASSERT_LT(i, static_cast<int>(told_.size())) << "too many were refused";
    const std::string id = "w" + std::to_string(i);
    CVekSubmit request = VekSession::Request(i % 10 == 0 ? cvmc_TaskResult : cvmc_RequestAck, 0ms, 0ms);
    request.workId = id.c_str();
    if (i % 10 == 5) request.flags = vsg_Urgent;
    std::string text = id + (i % 10 == 0 ? " stats" : " new\nprod=TXF side=B qty=1 price=100") + " note=";
    const unsigned more = static_cast<unsigned>(i) * 79'199u % longest_;
    text.append(i % 97 == 0 ? more : i % 7 == 0 ? more / 64 : 0, '\0');
    const VekFate now = session_.Submit(request, text, [this, i](VekFate fate) { Note(i, fate.fate); });
    if (now.fate != vsf_Refused) {
      ++taken_;
      return;
    }
    Note(i, vsf_Refused);
    ASSERT_TRUE(session_.WaitUntilUp(60s));
  }

  void Note(int i, std::int32_t fate) {
    ++told_[i];
    fates_[i] = fate;
    const std::lock_guard lock(mutex_);
    --out_;
    if (fate == vsf_Acknowledged || fate == vsf_Answered) ++answered_;
    settled_.notify_all();
  }

  const int requests_;
  const unsigned longest_;
  std::vector<std::atomic<int>> told_, fates_;
  std::atomic<int> next_{0}, taken_{0};
  std::mutex mutex_;
  std::condition_variable settled_;
  int out_ = 0;  // submitted, fate still open
  int answered_ = 0;
  bool over_ = false;
  VekSession session_;
};

}  // namespace vektest
