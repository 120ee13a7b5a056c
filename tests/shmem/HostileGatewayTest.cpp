// A gateway whose rings are none, or that writes anything into them.
#include <atomic>
#include <cstring>
#include <functional>
#include <random>
#include <thread>

#include "ShMemFixture.h"

namespace vektest {
namespace {

using Dova::Os::EOpen;
using Dova::Os::TNamedMapping;

class BadRings : public ShMemTest {
 protected:
  void MakeOneRing() {
    base = FreshName();
    ASSERT_TRUE(single_.Open(base + ".C2S", 100, true));
  }
  void MakeTheOtherTooShort() {
    MakeOneRing();
    MakeObject(rings_[0], ".S2C", 75, 0x7FFFFFFF);
  }
  void MakeRingsOfCapacity(std::uint32_t capacity) {
    ASSERT_TRUE(Create(100));
    for (std::byte* const ring : {rings.FromClient(), rings.ToClient()}) std::memcpy(ring, &capacity, 4);
  }
  // The names of the events are taken by other objects.
  void MakeRingsWithoutEvents() {
    base = FreshName();
    MakeObject(rings_[0], ".C2S", 100, 36);
    MakeObject(rings_[1], ".C2S.REv", 8, 0);
    MakeObject(rings_[2], ".ev", 8, 0);
  }
  void MakeObject(TNamedMapping& object, const std::string& end, std::uint64_t bytes,
                  std::uint32_t capacity) {
    ASSERT_TRUE(object.Open(base + end, bytes, EOpen::Make));
    ASSERT_TRUE(object.MapView(bytes));
    std::memcpy(object.View(), &capacity, 4);
  }

  Dova::TShMemChannel single_;
  TNamedMapping rings_[3];
};

TEST_F(BadRings, AreNotJoinedAndTheEndSaysWhy) {
  const struct {
    std::function<void()> make;
    const char* error;  // the start, behind the rings' name
  } cases[] = {{[&] { base = "nobody"; }, ".C2S: Invalid ShMem size: "},
               {[&] { MakeOneRing(); }, ".S2C: Invalid ShMem size: "},
               {[&] { MakeTheOtherTooShort(); }, ".S2C: Re."},
               {[&] { MakeRingsOfCapacity(0); }, ".C2S: Invalid ShMem size: "},
               {[&] { MakeRingsOfCapacity(0xFFFFFFFF); }, ".C2S: Re."},
               {[&] { MakeRingsWithoutEvents(); }, ".C2S: CreateEvent.REv:"}};
  for (const auto& [make, error] : cases) {
    events.Clear();
    Open();
    make();
    proxy->Ready();
    proxy->Deliver("Ack:ShMemName:" + base + "\n");
    EXPECT_EQ(events.LinkLines(), Lines{}) << "another name may come";
    time.Advance(10'000);
    const std::string start = "error ShMem " + base + error, end = events.WaitForEnd();
    EXPECT_TRUE(end.starts_with(start) && end.size() > start.size()) << end;
    EXPECT_EQ(mes->Send("x", 1), 0);
    single_.Close();
    for (TNamedMapping& each : rings_) each = {};
  }
}

// Found by whoever looks next: a send, the thread that has queued bytes, the one that reads.
TEST_F(ShMemTest, AnIndexOutOfRangeEndsTheLink) {
  const auto spoil = [this](std::byte* ring, std::size_t field) {
    std::atomic_ref(reinterpret_cast<std::uint32_t*>(ring)[field]).store(0x7FFFFFFF);
    rings.WakeClient();
  };
  const std::function<void()> ways[] = {[&] {
                                          spoil(rings.FromClient(), 1);
                                          EXPECT_EQ(mes->Send("x", 1), 0);
                                        },
                                        [&] {
                                          EXPECT_EQ(mes->Send("0123456789abcdef", 16),
                                                    16);  // more than there is room for
                                          spoil(rings.FromClient(), 1);
                                        },
                                        [&] { spoil(rings.ToClient(), 2); }};
  for (const auto& way : ways) {
    events.Clear();
    Open();
    Link(10);
    way();
    EXPECT_EQ(events.WaitForEnd(), "broken Invalid ShMem index");
    EXPECT_EQ(mes->Send("x", 1), 0);
  }
}

// Noise in every field, from before the client joins until it has closed: no access outside the ring, the
// link ends, and Close returns.
TEST_F(ShMemTest, PeerThatScribbles) {
  for (unsigned round = 0; round < 20; ++round) {
    events.Clear();
    Open();
    ASSERT_TRUE(Create(500));
    std::atomic<bool> over{false};
    std::thread scribbler([&] {
      std::minstd_rand random(round);
      while (!over) {
        std::byte* const ring = random() % 2 == 0 ? rings.ToClient() : rings.FromClient();
        const std::size_t field = random() % 3 * 4;
        const bool wild = random() % 16 == 0;
        const auto value = static_cast<std::uint32_t>(wild ? random() : random() % 502);
        std::atomic_ref(*reinterpret_cast<std::uint32_t*>(ring + field)).store(value);
        rings.WakeClient();
      }
    });
    proxy->Ready();
    proxy->Deliver("Ack:ShMemName:" + base + "\n");
    const std::string bytes(300, 'b');
    for (int i = 0; i < 200 && mes->Send(bytes.data(), 300) == 300; ++i) std::this_thread::yield();
    if (events.LinkLines().empty()) time.Advance(10'000);
    const std::string end = events.WaitForEnd();
    EXPECT_TRUE(end == "broken Invalid ShMem index" || end.rfind("error ShMem " + base + ".", 0) == 0) << end;
    Close();
    over = true;
    scribbler.join();
  }
}

}  // namespace
}  // namespace vektest
