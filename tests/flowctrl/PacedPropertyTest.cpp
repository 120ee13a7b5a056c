// Random applications, rates and links in virtual time, checked by a server that only counts arrivals.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "SenderFixture.h"

namespace vektest {
namespace {

constexpr std::int64_t kMsNs = 1'000'000;

struct Waiting {
  std::int64_t at;
  std::size_t requests;
};

class PacedProperty : public SenderTest, public testing::WithParamInterface<unsigned> {
 protected:
  PacedProperty() {
    count_ = 1 + static_cast<int>(random_() % 9);
    ms_ = 1 + static_cast<int>(random_() % 50);
    mes->onSend = [this] { Arrive(); };
    sender->SetFlowCtrl(count_, ms_);
  }

  std::int64_t Delay() {
    const std::int64_t most = random_() % 10 == 0 ? 100'000'000 : 1'000'000;
    return 1 + static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(most));
  }

  // Called in Send: the message travels, arrives after all earlier ones, and is acknowledged.
  void Arrive() {
    for (const std::string& message : TakeMessages()) {
      arrivedAt_ = std::max(arrivedAt_, time.NowNs() + Delay());
      const auto requests =
          static_cast<std::size_t>(1 + std::count(message.begin(), message.end(), '\n')) / 2;
      arrivals_.insert(arrivals_.end(), requests, arrivedAt_);
      arrived_ += message + '\n';
      acknowledgedAt_ = std::max(acknowledgedAt_, arrivedAt_ + Delay());
      acknowledgements_.push_back({acknowledgedAt_, requests});
    }
  }

  void Hand(int requests) {
    std::deque<std::string> texts;
    std::string joined;
    for (int i = 0; i < requests; ++i) {
      texts.push_back("w" + std::to_string(next_++) + "\nx");
      joined += texts.back() + "\n";
    }
    handed_ += joined;
    switch (random_() % 3) {
      case 0:
        for (const std::string& text : texts) SendOne(text);
        break;
      case 1:
        SendSeveral(texts);
        break;
      default:
        SendText(joined.substr(0, joined.size() - (joined.empty() ? 0 : 1)));
    }
  }

  // Advances the time, with acknowledgements at their due times.
  void Pass(std::int64_t ns) {
    const std::int64_t until = time.NowNs() + ns;
    while (!acknowledgements_.empty() && acknowledgements_.front().at <= until) {
      const Waiting next = acknowledgements_.front();
      acknowledgements_.pop_front();
      time.AdvanceTo(std::max(next.at, time.NowNs()));
      std::string lines = "ok";
      for (std::size_t i = 1; i < next.requests; ++i) lines += "\nok";
      sender->VekAckParser(129, lines);
    }
    time.AdvanceTo(until);
  }

  std::size_t MostWithinPeriod() const {
    std::size_t most = 0;
    std::size_t first = 0;
    for (std::size_t last = 0; last < arrivals_.size(); ++last) {
      while (arrivals_[last] - arrivals_[first] >= ms_ * kMsNs) ++first;
      most = std::max(most, last - first + 1);
    }
    return most;
  }

  std::mt19937 random_{GetParam()};
  int count_ = 0;
  int ms_ = 0;
  int next_ = 0;
  std::int64_t arrivedAt_ = 0;
  std::int64_t acknowledgedAt_ = 0;
  std::vector<std::int64_t> arrivals_;
  std::deque<Waiting> acknowledgements_;
  std::string handed_;
  std::string arrived_;
};

TEST_P(PacedProperty, RateKeptAndEveryRequestOnceInOrder) {
  for (int step = 0; step < 300; ++step) {
    if (random_() % 3 == 0) Hand(static_cast<int>(random_() % 12));
    Pass(static_cast<std::int64_t>(random_() % 5'000'000));
  }
  for (int second = 0; sender->PendingCount() != 0 && second < 2000; ++second) Pass(1000 * kMsNs);
  EXPECT_EQ(sender->PendingCount(), 0U);
  EXPECT_EQ(arrived_, handed_);
  EXPECT_LE(MostWithinPeriod(), static_cast<std::size_t>(count_));
}

INSTANTIATE_TEST_SUITE_P(Seeds, PacedProperty, testing::Range(1U, 13U));

}  // namespace
}  // namespace vektest
