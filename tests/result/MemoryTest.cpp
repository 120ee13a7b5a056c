// Memory use of results: how much, how often, and what happens without memory. Counted by this program's own
// operator new.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "result/packets.h"
#include "support/OwnNew.h"

namespace {

constexpr std::size_t kHead = alignof(std::max_align_t);

struct TCount {
  std::size_t bytes = 0;
  std::size_t most = 0;
  std::size_t calls = 0;
  std::size_t eventAt = 0;  // number of the allocation, counted from 1, at which the event happens; 0: none
  void (*event)() = nullptr;
};

thread_local TCount count;

}  // namespace

void* TestSupport::Take(std::size_t bytes) {
  if (++count.calls == count.eventAt) count.event();
  auto* const memory = static_cast<char*>(std::malloc(bytes + kHead));
  if (!memory) return nullptr;
  *reinterpret_cast<std::size_t*>(memory) = bytes;
  count.bytes += bytes;
  count.most = std::max(count.most, count.bytes);
  return memory + kHead;
}

void TestSupport::Give(void* memory) noexcept {
  if (!memory) return;
  char* const start = static_cast<char*>(memory) - kHead;
  count.bytes -= *reinterpret_cast<std::size_t*>(start);
  std::free(start);
}

namespace VekApi {

struct TTaskResultPeer {
  static bool Parse(VekTaskResult& result, const std::string& packet, const std::atomic<bool>& over) {
    return result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian, over);
  }
  static void Clear(VekTaskResult& result) { result.Clear(); }
};

}  // namespace VekApi

namespace {

using results::Bytes;
using VekApi::TTaskResultPeer;
using VekApi::VekTaskResult;

constexpr std::size_t kKept = 16 << 20;
constexpr std::size_t kSlack = 64 * 1024;

std::atomic<bool> linkOver;

// Different names, of bytes without another meaning.
std::string NameOf(unsigned number, unsigned bytes) {
  static const std::string kAlphabet = [] {
    std::string letters;
    for (int c = ' '; c < 256; ++c)
      if (std::string_view("~|#@;=").find(static_cast<char>(c)) == std::string_view::npos)
        letters += static_cast<char>(c);
    return letters;
  }();
  std::string name;
  for (unsigned i = 0; i < bytes; ++i, number /= 218) name += kAlphabet[number % 218];
  return name;
}

std::string Repeat(std::size_t times, const std::function<std::string(unsigned)>& make) {
  std::string text;
  for (unsigned i = 0; i < times; ++i) text += Bytes(make(i));
  return text;
}

struct THostile {
  const char* what;
  std::string text;
};

// Texts that repeat something small `times` times.
std::vector<THostile> HostileTexts(std::size_t times) {
  const auto two = [](unsigned i) { return NameOf(i % 47524, 2); };
  return {
      {"headers alone", Repeat(times, [&](unsigned i) { return "#" + two(i) + "\n"; })},
      {"headers with longer names", Repeat(times, [](unsigned i) { return "#" + NameOf(i, 3) + "\n"; })},
      {"tables of a byte", Repeat(times, [&](unsigned i) { return "#" + two(i) + "\n@\n\n"; })},
      {"tables without columns", Repeat(times, [&](unsigned i) { return "#" + two(i) + "\n\n"; })},
      {"two tables in turns",
       Bytes("#a\n@x\n#b\n@x\n") + Repeat(times, [](unsigned i) { return i % 2 ? "#a\n\n" : "#b\n\n"; })},
      {"the unnamed table in turns",
       Bytes("#\n@x\n#b\n@x\n") + Repeat(times, [](unsigned i) { return i % 2 ? "#\n\n" : "#b\n\n"; })},
      {"columns replaced", Repeat(times, [](unsigned i) { return i % 2 ? "@\n\n" : "@a|\n\n"; })},
      {"empty records", Bytes("@A\n") + std::string(times, '\n')},
      {"empty records of many columns", Bytes("@A|B|C|D|E|F\n|\n") + std::string(times, '\n')},
      {"records of one value or two",
       Bytes("@A|B\n") + Repeat(times, [](unsigned i) { return i % 2 ? "\n" : "|\n"; })},
      {"separators alone", Bytes("@A|B\n") + Bytes(std::string(times, '|'))},
      {"empty columns", Bytes("@" + std::string(times, '|') + "\n")},
      {"columns of two bytes", Bytes("@") + Repeat(times, [&](unsigned i) { return two(i) + "|"; }) + "\n"},
      {"fields lines of short columns", Repeat(times / 100,
                                               [&](unsigned i) {
                                                 std::string line = "#" + two(i) + "\n@";
                                                 for (unsigned column = 0; column < 200; ++column)
                                                   line += NameOf(column, 1) + "|";
                                                 return line + "\n";
                                               })},
      {"properties", Bytes("#T" + std::string(2 * times, ';') + "\n") +
                         Repeat(times / 10, [&](unsigned i) { return "#" + two(i) + ";a=;b=;c=\n"; })},
  };
}

const std::vector<THostile>& LargeTexts() {
  static const std::vector<THostile> kTexts = HostileTexts(70000);
  return kTexts;
}

TEST(Memory, AtMostTenTimesTheText) {
  for (const THostile& hostile : LargeTexts()) {
    const std::string packet = results::Packet(hostile.text);
    VekTaskResult result;
    const std::size_t before = count.most = count.bytes;
    results::Parse(result, packet);
    EXPECT_LE(count.most - before, 10 * hostile.text.size() + kSlack) << hostile.what;
  }
}

// Twice the text needs twice the allocations, not four times.
TEST(Memory, AllocationsFollowTheText) {
  const auto calls = [](const std::string& text) {
    VekTaskResult result;
    const std::string packet = results::Packet(text);
    const std::size_t before = count.calls;
    results::Parse(result, packet);
    return count.calls - before;
  };
  const std::vector<THostile> once = HostileTexts(2000);
  const std::vector<THostile> twice = HostileTexts(4000);
  for (std::size_t i = 0; i < once.size(); ++i)
    EXPECT_LE(calls(twice[i].text), 2 * calls(once[i].text) + 10) << once[i].what;
}

TEST(Memory, QueriesThatComeAgainAllocateNothing) {
  std::vector<std::string> packets;
  for (int query = 0; query < 4; ++query)
    packets.push_back(results::Packet(Bytes("#A table with a long name " + std::to_string(query) +
                                            ";DisplayText=Text\n@No;DisplayText=Number of the order|Price|" +
                                            std::to_string(query) + "\n1|2|3\n4|5\n")));
  VekTaskResult result;
  for (int round = 0; round < 5; ++round) {
    for (const std::string& packet : packets) {
      const std::size_t before = count.calls;
      results::Parse(result, packet);
      EXPECT_EQ(result.Table(0u)->Fields().Count(), 3);
      EXPECT_STREQ(result.Table(0u)->RecordField(1, 1), "5");
      EXPECT_TRUE(round < 2 || count.calls == before);
    }
  }
}

TEST(Memory, UpToABoundIsKept) {
  const std::string values = Bytes("@A|B\n") + Bytes(std::string(5 << 20, '|'));
  for (const std::string& text : {values, LargeTexts().front().text}) {
    const std::string packet = results::Packet(text);
    VekTaskResult result;
    const std::size_t before = count.bytes;
    results::Parse(result, packet);
    result.Table(0u);
    TTaskResultPeer::Clear(result);
    EXPECT_EQ(result.TableCount(), 0u);
    EXPECT_EQ(result.OrigResult(), "");
    EXPECT_LE(count.bytes - before, kKept + kSlack);
  }
}

// At the first allocation, at the second...: the result is then empty and can parse the next text.
void AtEachAllocation(void (*event)(), const std::function<void(VekTaskResult&, const std::string&)>& parse) {
  const std::string expected = "[T|k=v](A)(B|l=w)/1,2";
  const std::string good = results::Packet(Bytes("#T;k=v\n@A|B;l=w\n1|2\n"));
  std::vector<std::string> packets = {
      results::Packet(Bytes("UTF8\n#T;k=v\n@A\n1\n@B\n2\n") + std::string(100000, 'x'))};
  for (const THostile& hostile : HostileTexts(400)) packets.push_back(results::Packet(hostile.text));
  for (const std::string& packet : packets) {
    for (std::size_t nth = 1;; ++nth) {
      VekTaskResult result;
      if (nth % 2) {
        results::Parse(result, good);
        ASSERT_EQ(results::Describe(result), expected);
      }
      count.event = event;
      count.eventAt = count.calls + nth;
      parse(result, packet);
      const bool late = count.calls < count.eventAt;
      count.eventAt = 0;
      if (late) break;
      ASSERT_EQ(result.WorkID() + result.OrigResult(), "");
      ASSERT_EQ(result.TableCount(), 0u);
      results::Parse(result, good);
      ASSERT_EQ(results::Describe(result), expected);
    }
  }
}

TEST(Memory, EveryAllocationMayFail) {
  AtEachAllocation([] { throw std::bad_alloc(); },
                   [](VekTaskResult& result, const std::string& packet) {
                     try {
                       results::Parse(result, packet);
                     } catch (const std::bad_alloc&) {
                     }
                   });
}

// Long enough that cancellation is checked after the last allocation.
TEST(Memory, ParsingCanBeGivenUp) {
  for (const THostile& hostile : LargeTexts()) {
    const std::string packet = results::Packet(hostile.text);
    VekTaskResult result;
    linkOver = false;
    ASSERT_TRUE(TTaskResultPeer::Parse(result, packet, linkOver));
    EXPECT_GT(result.TableCount(), 0u) << hostile.what;
    for (const std::size_t nth : {0, 1, 2}) {
      linkOver = nth == 0;
      count.event = [] { linkOver = true; };
      VekTaskResult other;
      count.eventAt = nth ? count.calls + nth : 0;
      ASSERT_FALSE(TTaskResultPeer::Parse(other, packet, linkOver)) << hostile.what << nth;
      count.eventAt = 0;
      ASSERT_EQ(other.WorkID() + other.OrigResult(), "");
      ASSERT_EQ(other.TableCount(), 0u);
    }
  }
}

}  // namespace
