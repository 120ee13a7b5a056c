// A gateway that dies, freezes or sends wrong data, at every step of the negotiation and after it.
#include <atomic>
#include <cstring>
#include <random>
#include <thread>

#include "ShMemFixture.h"

namespace vektest {
namespace {

using Dova::Os::EOpen;
using Dova::Os::TNamedMapping;

class HostileGateway;
using TDeed = void (HostileGateway::*)();

struct Step {
  const char* name;
  TDeed reach;
  TDeed lie;
  // The start of the last event's line; % stands for the rings' name.
  const char* dead;
  const char* frozen;
  const char* lied;
};

enum class How { Dies, Freezes, Lies };

class HostileGateway : public ShMemTest, public testing::WithParamInterface<std::tuple<Step, How>> {
 public:
  void Ask() { proxy->Ready(); }
  void MakeOneRing() {
    base = FreshName();
    ASSERT_TRUE(single_.Open(base + ".C2S", 100, true));
    Ask();
    Answer();
  }
  void MakeRingsWithoutCapacity() {
    ASSERT_TRUE(Create(100));
    SetCapacities(0);
    Ask();
    Answer();
  }
  // The names of the events are taken by other objects.
  void MakeRingsWithoutEvents() {
    base = FreshName();
    MakeObject(rings_[0], ".C2S", 100, 36);
    MakeObject(rings_[1], ".C2S.REv", 8, 0);
    MakeObject(rings_[2], ".ev", 8, 0);
    Ask();
    Answer();
  }
  void BeginToAnswer() {
    ASSERT_TRUE(Create(100));
    Ask();
    proxy->Deliver("Ack:ShMemName:" + base);
  }
  void JustLink() { Link(); }
  void LinkAndTell() {
    Link();
    rings.Write("x", 1);
    ASSERT_TRUE(events.WaitForBytes("x"));
  }
  void LinkAndFill() {
    Link(10);
    ASSERT_EQ(mes->Send("0123456789abcdef", 16), 16);
  }

  void NameNobody() { proxy->Deliver("Ack:ShMemName:nobody\n"); }
  void EndTheNameWrongly() { proxy->Deliver(":no\n"); }
  void MakeTheOtherTooShort() {
    MakeObject(rings_[0], ".S2C", 75, 0x7FFFFFFF);
    Answer();
  }
  void SayTooMuchCapacity() {
    SetCapacities(0xFFFFFFFF);
    Answer();
  }
  void SpoilWhatIsRead() {
    Field(rings.ToClient(), 8).store(0x7FFFFFFF);
    rings.WakeClient();
  }
  void SpoilWhatIsQueued() {
    Field(rings.FromClient(), 4).store(0xFFFFFFFF);
    rings.WakeClient();
  }
  void SpoilWhatIsSent() {
    Field(rings.FromClient(), 4).store(1001);
    EXPECT_EQ(mes->Send("x", 1), 0);
  }

 protected:
  static std::atomic_ref<std::uint32_t> Field(std::byte* ring, std::size_t offset) {
    return std::atomic_ref(*reinterpret_cast<std::uint32_t*>(ring + offset));
  }
  void Answer() { proxy->Deliver("Ack:ShMemName:" + base + "\n"); }
  void SetCapacities(std::uint32_t capacity) {
    for (std::byte* const ring : {rings.FromClient(), rings.ToClient()}) Field(ring, 0).store(capacity);
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

TEST_P(HostileGateway, EndsInAnEventThatSaysWhere) {
  const auto& [step, how] = GetParam();
  (this->*step.reach)();
  if (how == How::Lies) (this->*step.lie)();
  if (how == How::Dies) {
    rings.Close();
    single_.Close();
    proxy->Break("gone");
  } else if (how == How::Freezes || events.LinkLines().empty()) {
    time.Advance(40'000);
  }
  std::string start = how == How::Dies ? step.dead : how == How::Freezes ? step.frozen : step.lied;
  if (const std::size_t at = start.find('%'); at != std::string::npos) start.replace(at, 1, base);
  const std::string end = events.WaitForEnd();
  EXPECT_EQ(end.substr(0, start.size()), start);
  const bool systemsText = start.back() == ' ' || start.back() == ':' || start.back() == '.';
  EXPECT_EQ(end.size() > start.size(), systemsText) << end;
  EXPECT_EQ(mes->Send("x", 1), 0);
}

using H = HostileGateway;
constexpr char kNoOther[] = "error ShMem %.S2C: Invalid ShMem size: ";
constexpr char kNoCapacity[] = "error ShMem %.C2S: Invalid ShMem size: ";
constexpr char kNoEvents[] = "error ShMem %.C2S: CreateEvent.REv:";
constexpr char kNobody[] = "error ShMem nobody.C2S: Invalid ShMem size: ";
constexpr char kGone[] = "broken ShMem proxy link: gone";
constexpr char kSilent[] = "broken Hb timeout";
constexpr char kSpoilt[] = "broken Invalid ShMem index";

const Step kSteps[] = {
    {"Asked", &H::Ask, &H::NameNobody, "error ShMem name: gone", "error ShMem name: no answer", kNobody},
    {"OneRing", &H::MakeOneRing, &H::MakeTheOtherTooShort, kNoOther, kNoOther, "error ShMem %.S2C: Re."},
    {"NoCapacity", &H::MakeRingsWithoutCapacity, &H::SayTooMuchCapacity, kNoCapacity, kNoCapacity,
     "error ShMem %.C2S: Re."},
    {"NoEvents", &H::MakeRingsWithoutEvents, &H::NameNobody, kNoEvents, kNoEvents, kNobody},
    {"HalfAnswered", &H::BeginToAnswer, &H::EndTheNameWrongly, "error ShMem name: gone",
     "error ShMem name: no answer", "error ShMem %:no.C2S: Invalid ShMem size: "},
    {"Linked", &H::JustLink, &H::SpoilWhatIsSent, kGone, kSilent, kSpoilt},
    {"Told", &H::LinkAndTell, &H::SpoilWhatIsRead, kGone, kSilent, kSpoilt},
    {"Full", &H::LinkAndFill, &H::SpoilWhatIsQueued, kGone, kSilent, kSpoilt},
};
std::string NameOf(const testing::TestParamInfo<std::tuple<Step, How>>& test) {
  const char* const ends[] = {"Dies", "Freezes", "Lies"};
  return std::string(std::get<0>(test.param).name) + ends[static_cast<int>(std::get<1>(test.param))];
}
INSTANTIATE_TEST_SUITE_P(ByStep, HostileGateway,
                         testing::Combine(testing::ValuesIn(kSteps),
                                          testing::Values(How::Dies, How::Freezes, How::Lies)),
                         NameOf);

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
