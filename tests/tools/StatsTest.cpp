// Counts, round trips and the chart of a recording with known times.
#include <gtest/gtest.h>

#include "Line.h"
#include "support/Wire.h"
#include "vekdump/Chart.h"
#include "vekdump/Stats.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using VekApi::ERecordOrder;

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Queries 1 to 100 are answered after as many milliseconds, later ones first; a batch of three is
// acknowledged in two steps; then follow silence, a burst of reports, a held request and a break.
void Play(Decoder& decoder) {
  std::int64_t now = 1'700'000'000'000'000'000;
  const auto packet = [&](Side from, const std::string& bytes, std::int64_t laterMs = 0) {
    const std::int64_t at = now + laterMs * 1'000'000;
    decoder.OnPacket(1, {at, at}, from, ERecordOrder::Little, bytes);
  };
  decoder.OnLinkUp(1, {now, now}, "client<1> to server & co");
  packet(Side::Server, vektest::ConnectResult(false, {}));
  packet(Side::Server, vektest::SgnResult());
  decoder.OnState(1, {now, now}, VekApi::vcs_ApReady, "");  // as the library records it besides
  for (int i = 1; i <= 100; ++i)
    packet(Side::Client, vektest::Message(128, "w" + std::to_string(i) + " products\n"));
  for (int i = 100; i >= 1; --i)
    packet(Side::Server,
           vektest::TaskResult("w" + std::to_string(i),
                               "\x02t\n\x03"
                               "a\n1\n"),
           i);
  packet(Side::Client, vektest::Message(129, "a new\nx=1\nb new\nx=1\nc new\nx=1"));
  packet(Side::Server, vektest::Message(129, "a\1accepted\nb\1accepted"), 10);
  packet(Side::Server, vektest::Message(129, "c\1accepted"), 40);
  now += 65'000'000'000;
  for (int i = 0; i < 50; ++i) packet(Side::Server, vektest::Message(130, "fill\1OrdNo=1"));
  decoder.OnNote(1, {now, now}, "request held for 120 ms");
  decoder.OnState(1, {now, now}, -3, "gone \x1B[2J\xFF");
  decoder.OnLinkEnd(1, {now, now}, "reset by the server");
  decoder.End();
}

TEST(VekdumpStats, CountsRoundTrips) {
  std::ostringstream out;
  Stats stats(out);
  Decoder decoder(stats);
  Play(decoder);
  const std::string text = out.str();
  EXPECT_NE(text.find("query            100  1.000 ms   50.0"), std::string::npos) << text;
  EXPECT_NE(text.find("90.178 ms  99.090 ms  100.000 ms\n"), std::string::npos) << text;
  EXPECT_NE(text.find("request            3  10.000 ms"), std::string::npos) << text;
  EXPECT_NE(text.find("up to   100.000 ms         50  " + std::string(50, '#') + "\n"), std::string::npos)
      << text;
  EXPECT_NE(text.find(" 130  server  report                50 "), std::string::npos) << text;
}

TEST(VekdumpStats, KeepsTimesWithinAHundredth) {
  Histogram histogram;
  for (std::int64_t ns = 1; ns <= 1'000'000; ns += 7) histogram.Add(ns);
  histogram.Add(INT64_MAX);
  for (const unsigned perMille : {1U, 250U, 500U, 990U}) {
    const auto exact = static_cast<double>(perMille) * 1000;
    EXPECT_NEAR(static_cast<double>(histogram.Quantile(perMille)), exact, exact / 100);
  }
  EXPECT_EQ(histogram.Quantile(1000), INT64_MAX);
  EXPECT_EQ(histogram.Least(), 1);
}

TEST(VekdumpStats, DrawsTheSession) {
  std::ostringstream out;
  Chart chart(out);
  Decoder decoder(chart);
  Play(decoder);
  const std::string svg = out.str();
  EXPECT_NE(svg.find("link 1: client&lt;1&gt; to server &amp; co"), std::string::npos);
  EXPECT_NE(svg.find("64.960 s of silence"), std::string::npos);
  EXPECT_NE(svg.find("task result w100, after 100.000 ms"), std::string::npos);
  EXPECT_NE(svg.find("48 more: report"), std::string::npos);
  EXPECT_NE(svg.find("request held for 120 ms"), std::string::npos);
  EXPECT_NE(svg.find("reset by the server"), std::string::npos);
  EXPECT_EQ(CountOf(svg, ">signed on<"), 1U);
  EXPECT_EQ(CountOf(svg, "\x1B") + CountOf(svg, "\xFF"), 0U);
  EXPECT_LT(CountOf(svg, "<text"), 70U);
}

TEST(VekdumpText, ShowsTextsAsTheyAreAndNoControls) {
  EXPECT_EQ(WireText("\xBB\x4F\xAA\xD1"), "臺股");
  EXPECT_EQ(OneLine("a\1b\x1B\xC2\x9B"
                    "c\x7F"),
            "a | b??c?");
  EXPECT_EQ(IsoTime(1'700'000'000'123'456'789), "2023-11-14T22:13:20.123456789Z");
  EXPECT_EQ(IsoTime(INT64_MIN), "1970-01-01T00:00:00.000000000Z");
  EXPECT_EQ(Duration(-1'500'000), "-1.500 ms");
  EXPECT_EQ(Duration(125'000'000'000), "2 min 5 s");
}

}  // namespace
}  // namespace VekDump
