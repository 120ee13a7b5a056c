// Results compared with a simple reader that implements the format literally.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "result/Model.h"
#include "result/packets.h"

namespace {

using results::Describe;
using results::TModel;

// The tables of the text, each column by its name, and the text itself, which is put together again from what
// was read.
void ExpectAsModel(const VekApi::VekTaskResult& result, const std::string& text) {
  EXPECT_TRUE(Describe(result) == TModel(text).Describe()) << text.substr(0, 200);
  EXPECT_TRUE(result.OrigResult() == text) << text.substr(0, 200);
  for (unsigned i = 0; i < result.TableCount(); ++i) {
    VekApi::VekFields fields;
    fields = result.Table(i)->Fields();
    for (int at = 0; at < fields.Count(); ++at)
      ASSERT_EQ(fields.Field(fields.Field(at)->Properties().Name())->Index(), at);
  }
}

TEST(Model, RandomTextsReadTheSame) {
  std::mt19937 random(20261121);  // NOLINT: the same texts each time
  VekApi::VekTaskResult reused;
  for (int round = 0; round < 10000; ++round) {
    const std::string marks = round % 2 ? "aabbc##@|;=\n\n" : "abcdefghijklmnopqrst||||#@;\n";
    std::string text;
    for (std::size_t length = random() % (round % 50 ? 120 : 5000); text.size() < length;)
      text += random() % 400 ? marks[random() % marks.size()] : '~';
    text = results::Bytes("@a\n" + text);
    ExpectAsModel(results::ResultOf(text), text);
    results::Parse(reused, results::Packet(text));
    ExpectAsModel(reused, text);
    ASSERT_FALSE(HasFailure()) << round;
  }
}

// Texts of all lengths around the size of the blocks read at once, with every mark at every position.
TEST(Model, MarksAtEveryPlaceReadTheSame) {
  for (const std::size_t length : {1u, 62u, 63u, 64u, 65u, 127u, 128u, 130u}) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const char mark : {'~', '|', '\n', '#', '@', ';'}) {
        std::string record(length, 'r');
        record[at] = mark;
        const std::string text = results::Bytes("@A|B\n" + record);
        ExpectAsModel(results::ResultOf(text), text);
        ASSERT_FALSE(HasFailure()) << length << mark << at;
      }
    }
  }
}

// More tables, columns, values and records than are searched linearly or fit a short number.
TEST(Model, LargeTextsReadTheSame) {
  std::string tables;
  for (int i = 0; i < 900; ++i)
    tables += "#T" + std::to_string(i % 300) + "\n" + (i < 300 ? "@A|B\n" : "") + std::to_string(i) + "|x\n";
  std::string columns = "#T\n@";
  for (int i = 0; i < 70000; ++i) columns += "C" + std::to_string(i % 66000) + "|";
  const std::string wide(66001, '|');
  columns +=
      "\n\n" + wide + "\nx|y\n" + wide + "\n" + wide.substr(0, 40000) + "\n" + wide.substr(0, 30000) + "\n";
  std::string records = "#T\n@A|B|C\n";
  for (int i = 0; i < 5000; ++i) records += std::string(static_cast<std::size_t>(i) % 5, '|') + "v\n";
  for (const std::string& text : {tables, columns, records})
    ExpectAsModel(results::ResultOf(results::Bytes(text)), results::Bytes(text));
}

}  // namespace
