// The slot whose copies are paid for in advance.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/runtime/TRefSlot.h"

namespace {

std::atomic<int> alive{0};

class Object final : public Dstl::ref_counter<unsigned> {
 public:
  Object() { ++alive; }
  bool IsAlive() const { return alive_; }

 private:
  ~Object() override {
    alive_ = false;
    --alive;
  }
  std::atomic<bool> alive_{true};
};
using Slot = Dstl::TRefSlot<const Object>;
using Held = Dstl::wise_ref<const Object>;

void Replace(Slot& slot, bool byNone = false) {
  Held next = byNone ? Held() : Dstl::make_ref<const Object>();
  slot.Swap(next);
}

TEST(RefSlot, HoldsWhatIsStillHeldHoweverOftenItIsCopied) {
  constexpr int kCopies = 200'000;
  {
    Slot slot;
    for (int i = 0; i < 70'000; ++i) ASSERT_FALSE(slot.Get()) << i;
    Replace(slot);
    std::vector<Held> held;
    for (int i = 0; i < kCopies; ++i) held.push_back(slot.Get());
    EXPECT_TRUE(slot.Is(held[0].get()));
    for (int i = 0; i < kCopies; ++i) slot.Get();
    Replace(slot);
    EXPECT_EQ(alive, 2);
    EXPECT_FALSE(slot.Is(held[0].get()));
    while (held.size() > 1) held.pop_back();
    EXPECT_EQ(alive, 2);
    held.clear();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST(RefSlot, IsReplacedWhileOthersCopy) {
  {
    Slot slot;
    std::atomic<bool> done{false};
    std::atomic<int> copies{0};
    std::vector<std::thread> copiers;
    for (int i = 0; i < 3; ++i) {
      copiers.emplace_back([&] {
        for (Held held, before; !done; before = std::move(held)) {
          held = slot.Get();
          if (!held) continue;
          EXPECT_TRUE(held->IsAlive());
          ++copies;
        }
      });
    }
    for (int i = 0; i < 3000 || copies < 100'000; ++i) Replace(slot, i % 7 == 0);
    done = true;
    for (std::thread& copier : copiers) copier.join();
  }
  EXPECT_EQ(alive, 0);
}

}  // namespace
