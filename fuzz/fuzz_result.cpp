// Results from a server. The first byte chooses the byte order, whether the rest is a whole packet or the
// text of one, and how much of it is read first. What is read must be what a literal reader reads, and the
// same through every function.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz/Input.h"
#include "result/Model.h"
#include "result/packets.h"
#include "vekapi/VekApiC.h"

namespace {

using namespace VekApi;
using vekfuzz::Check;

bool Same(const char* text, const std::string& other) {
  return text != nullptr && other == text;
}

// The values of a block lie inside its text, one behind the other.
void CheckBlock(const CVekTable& table, int row, const CVekRecordBlock& block, int count) {
  Check(block.values <= block.columns && block.values <= block.stride, "values of a block");
  std::uint32_t at = 0;
  for (int i = 0; i < count * block.values; ++i) {
    const int r = i / block.values, c = i % block.values;
    const std::uint32_t start = block.starts[r * block.stride + c];
    Check(i == 0 || start == at, "a block has a gap");
    at = start + static_cast<std::uint32_t>(std::strlen(block.text + start)) + 1;
    Check(at <= block.textEnd, "a value beyond its block");
    Check(Same(CVekTable_RecordIndexField(&table, row + r, c), block.text + start), "a value of a block");
  }
}

void CheckFlat(const VekTable& table) {
  const CVekTable flat{&table};
  const int rows = table.RecordsCount(), columns = table.Fields().Count();
  Check(CVekTable_RecordsCount(&flat) == rows && CVekTable_MktFlag(&flat) == table.MktFlag(), "a table");
  CVekRecordBlock block;
  int row = 0;
  for (int count; (count = CVekTable_RecordBlock(&flat, row, &block)) > 0; row += count) {
    if (block.text) CheckBlock(flat, row, block, count);
  }
  Check(row == rows, "blocks do not cover the table");
  for (row = 0; row < rows; ++row) {
    for (int column = -1; column <= columns; ++column) {
      const char* const value = CVekTable_RecordIndexField(&flat, row, column);
      Check(value == table.RecordField(row, column), "a value through the flat function");
      const CVekField field{table.Fields().Field(column)};
      Check(!field.object || CVekTable_RecordField(&flat, row, &field) == value, "a value by its column");
    }
  }
  Check(!CVekTable_RecordIndexField(&flat, rows, 0) && !CVekTable_RecordIndexField(&flat, -1, 0),
        "a record that is not there");
}

void CheckFlat(const VekTaskResult& result) {
  const CVekTaskResult flat{&result};
  Check(Same(CVekTaskResult_WorkID(&flat), result.WorkID().c_str()), "the work id");
  Check(Same(CVekTaskResult_OrigResult(&flat), result.OrigResult().c_str()), "the text");
  Check(CVekTaskResult_TableCount(&flat) == result.TableCount(), "the number of tables");
  for (unsigned i = 0; i < result.TableCount(); ++i) {
    const VekTable* const table = result.Table(i);
    Check(CVekTaskResult_IndexTable(&flat, i).object == table, "a table by its index");
    Check(result.Table(table->Properties().Name()) == table, "a table by its name");
    CheckFlat(*table);
  }
  Check(result.Table(result.TableCount()) == nullptr, "a table that is not there");
}

// The packet is in memory of exactly its size, and gone before the result is read.
VekTaskResult ParseExactly(std::string_view packet, EVekEndian endian) {
  const std::unique_ptr<char[]> exact(new char[packet.size()]);
  packet.copy(exact.get(), packet.size());
  VekTaskResult result;
  result.Parse(exact.get(), static_cast<unsigned>(packet.size()), endian);
  return result;
}

// Of a packet that was cut there is the start of its text; a character that was cut is one "?" or several.
void CheckCuts(std::string_view packet, EVekEndian endian, const std::string& whole) {
  for (std::size_t size = 0; size < std::min<std::size_t>(packet.size(), 300); ++size) {
    std::string text = ParseExactly(packet.substr(0, size), endian).OrigResult();
    while (text.ends_with('?')) text.pop_back();
    Check(whole.starts_with(text), "the start of the text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vekfuzz::Input input(data, size);
  const unsigned how = input.Byte();
  const EVekEndian endian = (how & 1) != 0 ? vek_BigEndian : vek_LittleEndian;
  const std::string rest = input.Rest();
  const std::string packet = (how & 2) != 0 ? rest : results::Packet(rest, endian);
  const auto length = static_cast<unsigned>(packet.size());
  const VekTaskResult result = ParseExactly(packet, endian);
  const std::string told = results::Describe(result);
  // With an encoding line, which is no longer there, a NUL in the next line is not in the first one.
  const std::string& text = result.OrigResult();
  Check(told == results::TModel(text).Describe() || told == results::TModel("\n" + text).Describe(),
        "the same as the literal reader");
  Check(result.OrigResult().size() <= packet.size(), "no longer than the packet");
  CheckFlat(result);
  CheckCuts(packet, endian, text);
  // A result that held the start of the same text remembers parts of it.
  VekTaskResult reused;
  results::Parse(reused, results::Packet(rest.substr(0, rest.size() * (how >> 2) / 63), endian), endian);
  results::Describe(reused);
  reused.Parse(packet.data(), length, endian);
  Check(results::Describe(reused) == told, "read by a result that was used before");
  Check(results::Describe(VekTaskResult(reused)) == told, "copied");
  return 0;
}
