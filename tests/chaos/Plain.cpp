#include "chaos/Plain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <utility>

#include "support/SimSession.h"

namespace Chaos {
namespace {

using namespace std::chrono_literals;

constexpr int kQueries = 15, kOrders = 25;   // in a turn
constexpr std::size_t kLongestQuery = 6000;  // of a query in bytes
constexpr std::size_t kFlood = 400'000;      // of each query of a flood: more than the system keeps
constexpr int kFloods = 8;                   // every so many turns
constexpr auto kPatience = 300ms;            // a link without answers is given up

}  // namespace

TPlain::TPlain(std::string name, std::string setting)
    : name_(std::move(name)), setting_(std::move(setting)) {}

TPlain::~TPlain() {
  client_.Disconnect();
}

// ---- events ----

void TPlain::OnVekConnectEvent(VekApi::VekClient& client, const std::string&) {
  if (client.State() == VekApi::vcs_Connected) return;
  const auto held = static_cast<unsigned>(sender_.TakePending().size());
  const std::lock_guard lock(mutex_);
  dropped_ += held;
  up_ = false, over_ = true;
  changed_.notify_all();
}

void TPlain::OnVekApReadyEvent(VekApi::VekClient&) {
  sender_.SetFlowCtrl(10, 5);
  const std::lock_guard lock(mutex_);
  ++link_;
  up_ = true, out_ = 0;
  changed_.notify_all();
}

void TPlain::OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult&) {
  Answered(1);
}

void TPlain::OnVekRequestAckEvent(VekApi::VekClient&, int code, const std::string& text) {
  sender_.VekAckParser(code, text);
  Answered(1 + static_cast<int>(std::count(text.begin(), text.end(), '\n')));
}

void TPlain::Answered(int count) {
  const std::lock_guard lock(mutex_);
  out_ -= count;
  changed_.notify_all();
}

bool TPlain::IsUp() {
  const std::lock_guard lock(mutex_);
  return up_;
}

// ---- turns ----

// Orders that were held after the last link had ended would be sent before the sign-on.
bool TPlain::Connect() {
  const auto held = static_cast<unsigned>(sender_.TakePending().size());
  {
    const std::lock_guard lock(mutex_);
    dropped_ += held;
    up_ = over_ = false;
  }
  vektest::Connect(client_, setting_);
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, 10 * kPatience, [this] { return up_ || over_; }) && up_;
}

void TPlain::Turn() {
  if (!IsUp() && !Connect()) return client_.Disconnect();
  const bool floods = ++turns_ % kFloods == 0;
  for (int i = 0; i < std::max(kQueries, kOrders); ++i) {
    if (i < kQueries)
      SendQuery(floods ? kFlood : queries_.size() % 9 == 0 ? queries_.size() * 7919 % kLongestQuery : 0);
    if (i < kOrders) SendOrder();
  }
  std::unique_lock lock(mutex_);
  const bool settled = changed_.wait_for(lock, kPatience, [this] { return !up_ || out_ <= 0; });
  lock.unlock();
  if (!settled) client_.Disconnect();
}

// Padded with zeros, which no header begins with: a server sees at once if a packet does not begin where the
// one before ended.
void TPlain::SendQuery(std::size_t padding) {
  TQuery query{name_ + "q" + std::to_string(queries_.size()), 0, false};
  {
    const std::lock_guard lock(mutex_);
    query.link = up_ ? link_ : 0;
    ++out_;
  }
  const std::string zeros(padding, '\0');
  query.taken = vektest::Send(client_, 128, query.id + " nothing note=" + zeros);
  const std::lock_guard lock(mutex_);
  if (!query.taken) --out_;
  if (!up_ || query.link != link_) query.link = 0;
  queries_.push_back(std::move(query));
}

void TPlain::SendOrder() {
  orders_.push_back(name_ + "o" + std::to_string(orders_.size()));
  std::string text = "....." + orders_.back() + " x\nprod=TXF";
  {
    const std::lock_guard lock(mutex_);
    ++out_;
  }
  sender_.SendVekRequest(text.data(), static_cast<unsigned>(text.size()));
}

void TPlain::LastTurn(TLedger& ledger) {
  client_.Disconnect();
  ASSERT_TRUE(Connect());
  const std::size_t queries = queries_.size(), orders = orders_.size();
  const unsigned refused = sender_.RefusedCount();
  for (int i = 0; i < 40; ++i) SendQuery(0), SendOrder();
  std::vector<std::string> sent(orders_.begin() + static_cast<std::ptrdiff_t>(orders), orders_.end());
  for (std::size_t i = queries; i < queries_.size(); ++i) {
    ASSERT_TRUE(queries_[i].taken);
    sent.push_back(queries_[i].id);
  }
  EXPECT_TRUE(ledger.AwaitAll(sent)) << "accepted on a link that lives, and not on the wire";
  EXPECT_EQ(sender_.RefusedCount(), refused);
  EXPECT_EQ(sender_.PendingCount(), 0U);
  EXPECT_TRUE(IsUp());
}

// ---- judgement ----

void TPlain::Judge(const std::vector<TSeen>& seen) const {
  std::map<std::string, int> times;
  std::map<int, int> last;  // order of each link, at the server
  std::size_t orders = 0;
  for (const auto& [id, link] : seen) {
    if (!id.starts_with(name_)) continue;
    EXPECT_EQ(++times[id], 1) << id << " was sent twice";
    if (id[name_.size()] != 'o') continue;
    const int number = 1 + std::stoi(id.substr(name_.size() + 1));
    EXPECT_GT(number, std::exchange(last[link], number)) << id << " was overtaken";
    ++orders;
  }
  EXPECT_LE(orders + sender_.RefusedCount() + dropped_, orders_.size())
      << "an order that was refused or taken back is on the wire";
  int gap = 0;  // the link that lost a query
  for (const TQuery& query : queries_) {
    const bool there = times.contains(query.id);
    EXPECT_TRUE(query.taken || !there) << query.id << " was refused, and is on the wire";
    if (!query.taken || query.link == 0) continue;
    EXPECT_TRUE(!there || query.link != gap) << query.id << " came behind one that its link lost";
    if (!there) gap = query.link;
  }
}

}  // namespace Chaos
