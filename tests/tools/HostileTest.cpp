// Truncated, corrupt or invented files: an error with file and position, never worse.
#include <gtest/gtest.h>

#include "Line.h"
#include "support/Wire.h"
#include "vekdump/Chart.h"
#include "vekdump/Input.h"
#include "vekdump/Stats.h"

namespace VekDump {
namespace {

// The error for a file; empty if the file is valid.
std::string ErrorOf(const std::string& file) {
  Views views;
  std::ostringstream more;
  const auto outputs = views.Outputs();
  outputs->Add(std::make_unique<Stats>(more));
  outputs->Add(std::make_unique<Chart>(more));
  std::istringstream in(file);
  try {
    DumpFile(in, "day", 0, *outputs);
  } catch (const BadInput& error) {
    EXPECT_TRUE(std::string(error.what()).starts_with("day: at byte ")) << error.what();
    return error.what();
  }
  return {};
}

std::string SmallCapture(bool next) {
  Capture capture(LinkLayer::Ethernet, false, next);
  Written written(capture);
  written.Open({1, Side::Client, {}});
  written.Send(1, Side::Client, kAck, vektest::ConnectRequest());
  written.Send(1, Side::Server, kAck, vektest::ConnectResult(true, {}));
  written.Send(1, Side::Server, kAck, vektest::SgnResult("5", true));
  written.Flag({1, Side::Server, {}}, kFin | kAck);
  return capture.bytes;
}

std::string SmallRecording() {
  Views views;
  std::istringstream in(SmallCapture(false));
  DumpFile(in, "file", 0, *views.Outputs());
  return views.recording.str();
}

// A truncation is an error unless it falls between two records.
TEST(VekdumpHostile, FilesCutAtEveryByte) {
  struct Case {
    std::string file;
    std::size_t whole;  // truncations that leave a valid file
  };
  const std::string recording = SmallRecording();
  for (const auto& [file, whole] :
       {Case{SmallCapture(false), 6}, Case{SmallCapture(true), 7}, Case{recording, 5}}) {
    std::size_t good = 0;
    for (std::size_t size = 0; size < file.size(); ++size) {
      const std::string error = ErrorOf(file.substr(0, size));
      good += error.empty() ? 1 : 0;
      EXPECT_TRUE(error.empty() || error.find("is cut: ") != std::string::npos) << error;
    }
    EXPECT_EQ(good, whole);
    EXPECT_EQ(ErrorOf(file), "");
  }
}

std::string With(std::string file, std::size_t at, const std::string& bytes) {
  return file.replace(at, bytes.size(), bytes);
}

TEST(VekdumpHostile, TellsWhatIsWrongAndWhere) {
  const std::string capture = SmallCapture(false), next = SmallCapture(true), recording = SmallRecording();
  const std::string most = Bytes(0xFFFFFFFF, 4);
  const struct {
    std::string file;
    const char* error;
  } cases[] = {
      {"\x7F"
       "ELF....",
       "day: at byte 0: this is neither a recording nor a capture"},
      {With(recording, 6, "2"), "day: at byte 0: a recording of another version"},
      {With(recording, 8, most), "day: at byte 8: this is no record"},
      {With(recording, 12, "\x09"), "day: at byte 8: this is no record"},
      {With(recording, 12, std::string(1, '\0')),
       "day: at byte 8: the record's packet is not as long as it says"},
      {With(capture, 32, most), "day: at byte 24: a frame of 4294967295 bytes; more than 262144 cannot be"},
      {With(next, 4, most), "day: at byte 0: a block cannot have 4294967295 bytes"},
      {With(next, 8, most), "day: at byte 0: a section without its byte order"},
      {With(next, 24, most), "day: at byte 0: a block's two lengths differ"},
      {With(next, 32, most), "day: at byte 28: a block cannot have 4294967295 bytes"},
      {With(next, 68, most), "day: at byte 60: a frame of interface 4294967295, which is not there"},
      {With(next, 80, most), "day: at byte 60: a frame is longer than its block"},
  };
  for (const auto& [file, error] : cases) EXPECT_EQ(ErrorOf(file), error);
}

// A table that announces far more columns than a record has bytes for.
TEST(VekdumpHostile, ShowsNoMoreCellsThanTheBytesCanFill) {
  const std::string table = "\x02t\n\x03" + std::string(30'000, '\x01') + "x\n" + std::string(30'000, '\n');
  std::string stream = vektest::ConnectResult(false, {});
  const std::string text = vektest::TaskText("w", table);
  for (std::size_t at = 0; at < text.size(); at += 4000)
    stream += vektest::Message(at + 4000 < text.size() ? 3 : 128, text.substr(at, 4000));
  Capture capture;
  Written(capture).Send(1, Side::Server, kAck, stream);
  Views views;
  std::istringstream in(capture.bytes);
  DumpFile(in, "file", 9000, *views.Outputs());
  EXPECT_NE(views.json.str().find("\"rows\""), std::string::npos);
  EXPECT_LT(views.json.str().size() + views.text.str().size(), 40 * stream.size());
}

}  // namespace
}  // namespace VekDump
