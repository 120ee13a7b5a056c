// The speed of parsing results, compared with an arena that copies the text once, splits it in place and
// records the start of each value; with one copy and one scan; and with a string and a vector per record.
// With the argument "rows" only what scripts/bench.py shows.
#include <benchmark/benchmark.h>

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Allocations.h"
#include "Rows.h"
#include "vekapi/VekTaskResult.h"

namespace {

constexpr int kColumns = 20;
constexpr char kPlain[] = "";
constexpr char kWithAttribute[] =
    "\x04"
    "DisplayText=Column";

// About 200 bytes, as in an order query: numbers, names, times and empty values.
std::string Record(int number) {
  std::string line = "F00" + std::to_string(1000000 + number);
  for (int column = 1; column < kColumns; ++column) {
    line += '\x01';
    switch ((number + column) % 5) {
      case 0:
        line += std::to_string(number * 7919L % 1000000);
        break;
      case 1:
        line += "TXFL6/MXFL6";
        break;
      case 2:
        line += "20261121 084500.123456";
        break;
      case 3:
        break;
      default:
        line += "Accepted";
    }
  }
  return line += '\n';
}

std::string Text(int records, const std::string& attributes = kWithAttribute, int columns = kColumns,
                 const std::string& prefix = "Col") {
  std::string text =
      "\x02Orders\x04mkt=2\x04"
      "DisplayText=Orders\n\x03";
  for (int column = 0; column < columns; ++column)
    text += (column ? "\x01" : "") + prefix + std::to_string(column) + attributes;
  text += '\n';
  for (int i = 0; i < records; ++i) text += Record(i);
  return text;
}

std::string Packet(const std::string& text) {
  std::string packet = std::string(5, '\0') + '\x04' + "Qry1" + "\xFF\xFF";
  for (int shift = 0; shift < 32; shift += 8) packet += static_cast<char>(text.size() >> shift);
  return packet + text;
}

struct TPlainRecord {
  std::string text;
  std::vector<std::uint32_t> offsets;
};

// The record lines of a text, each split in its own copy.
std::deque<TPlainRecord> PlainRecords(const std::string& text) {
  std::deque<TPlainRecord> records;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = text.find('\n', at);
    if (text[at] == '\x02' || text[at] == '\x03') continue;
    TPlainRecord record{text.substr(at, end - at), std::vector<std::uint32_t>(kColumns)};
    for (std::size_t cut = 0, column = 1; column < kColumns; ++column) {
      cut = record.text.find('\x01', cut);
      if (cut == std::string::npos) break;
      record.text[cut++] = '\0';
      record.offsets[column] = static_cast<std::uint32_t>(cut);
    }
    records.push_back(std::move(record));
  }
  return records;
}

// The minimum work of a reader: a copy, split by NULs, and the position of every value, in memory already
// allocated.
class TArenaReader {
 public:
  std::size_t Read(std::string_view text) {
    if (text.size() + 64 > bytes_) {
      bytes_ = text.size() + 64;
      copy_ = std::make_unique_for_overwrite<char[]>(bytes_);
      starts_ = std::make_unique_for_overwrite<std::uint32_t[]>(bytes_);
    }
    std::size_t count = 0;
    std::size_t at = 0;
    for (; at + 16 <= text.size(); at += 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
      const __m128i cuts = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\x01')),
                                        _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(copy_.get() + at), _mm_andnot_si128(cuts, bytes));
      for (auto bits = static_cast<unsigned>(_mm_movemask_epi8(cuts)); bits; bits &= bits - 1)
        starts_[count++] = static_cast<std::uint32_t>(at) + static_cast<unsigned>(std::countr_zero(bits)) + 1;
    }
    for (; at < text.size(); ++at) {
      const bool cut = text[at] == '\x01' || text[at] == '\n';
      copy_[at] = cut ? '\0' : text[at];
      if (cut) starts_[count++] = static_cast<std::uint32_t>(at + 1);
    }
    benchmark::DoNotOptimize(copy_.get());
    benchmark::DoNotOptimize(starts_.get());
    return count;
  }

 private:
  std::unique_ptr<char[]> copy_;
  std::unique_ptr<std::uint32_t[]> starts_;
  std::size_t bytes_ = 0;
};

// Searches from separator to separator, as a parser using memchr must.
std::size_t CountSeparators(const char* text, std::size_t size) {
  std::size_t count = 0;
  const char* const end = text + size;
  while ((text = static_cast<const char*>(std::memchr(text, '\x01', static_cast<std::size_t>(end - text))))) {
    ++count;
    if (++text == end) break;
  }
  return count;
}

void SetCounters(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void Parse(benchmark::State& state) {
  const std::string packet = Packet(Text(static_cast<int>(state.range(0))));
  VekApi::VekTaskResult result;
  while (state.KeepRunning()) {
    result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian);
    benchmark::DoNotOptimize(result.Table(0)->RecordField(0, 1));
  }
  if (result.Table(0)->RecordsCount() != state.range(0)) state.SkipWithError("wrong number of records");
  SetCounters(state, packet.size());
}
BENCHMARK(Parse)->Arg(1)->Arg(10)->Arg(50000);

void Arena(benchmark::State& state) {
  const std::string text = Text(static_cast<int>(state.range(0)));
  TArenaReader reader;
  while (state.KeepRunning()) benchmark::DoNotOptimize(reader.Read(text));
  SetCounters(state, text.size());
}
BENCHMARK(Arena)->Arg(1)->Arg(10)->Arg(50000);

// The same, with newly allocated memory for each text.
void ArenaAnew(benchmark::State& state) {
  const std::string text = Text(static_cast<int>(state.range(0)));
  while (state.KeepRunning()) benchmark::DoNotOptimize(TArenaReader().Read(text));
  SetCounters(state, text.size());
}
BENCHMARK(ArenaAnew)->Arg(10)->Arg(50000);

// A header not seen before, without attributes: the time depends on the number of columns.
void ParseNewHeader(benchmark::State& state) {
  std::vector<std::string> packets;
  for (int i = 0; i < 8; ++i)
    packets.push_back(
        Packet(Text(1, kPlain, static_cast<int>(state.range(0)), "C" + std::to_string(i) + "_")));
  VekApi::VekTaskResult result;
  for (std::size_t i = 0; state.KeepRunning(); ++i) {
    const std::string& packet = packets[i % packets.size()];
    result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian);
    benchmark::DoNotOptimize(result.Table(0)->Fields().Field(1));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ParseNewHeader)->Arg(10)->Arg(40)->Arg(160)->Arg(640);

void ParseIntoNewResult(benchmark::State& state) {
  const std::string packet = Packet(Text(static_cast<int>(state.range(0))));
  while (state.KeepRunning()) {
    VekApi::VekTaskResult result;
    result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian);
    benchmark::DoNotOptimize(result.Table(0)->RecordField(0, 1));
  }
  SetCounters(state, packet.size());
}
BENCHMARK(ParseIntoNewResult)->Arg(10)->Arg(50000);

void CopyAndScan(benchmark::State& state) {
  const std::string text = Text(static_cast<int>(state.range(0)));
  std::string copy;
  while (state.KeepRunning()) {
    copy.assign(text.data(), text.size());
    benchmark::DoNotOptimize(CountSeparators(copy.data(), copy.size()));
  }
  SetCounters(state, text.size());
}
BENCHMARK(CopyAndScan)->Arg(10)->Arg(50000);

// The lower bound for CopyAndScan: a scan without matches, limited by memory bandwidth.
void CopyAndScanForNothing(benchmark::State& state) {
  const std::string text = Text(static_cast<int>(state.range(0)));
  std::string copy;
  while (state.KeepRunning()) {
    copy.assign(text.data(), text.size());
    benchmark::DoNotOptimize(copy.find('\x05'));
  }
  SetCounters(state, text.size());
}
BENCHMARK(CopyAndScanForNothing)->Arg(10)->Arg(50000);

void StringAndVectorPerRecord(benchmark::State& state) {
  const std::string text = Text(static_cast<int>(state.range(0)));
  std::string copy;
  while (state.KeepRunning()) {
    copy.assign(text.data(), text.size());
    const std::deque<TPlainRecord> records = PlainRecords(copy);
    benchmark::DoNotOptimize(records.size());
  }
  SetCounters(state, text.size());
}
BENCHMARK(StringAndVectorPerRecord)->Arg(10)->Arg(50000);

void ReadEveryValue(benchmark::State& state) {
  const std::string packet = Packet(Text(static_cast<int>(state.range(0))));
  VekApi::VekTaskResult result;
  result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian);
  const VekApi::VekTable& table = *result.Table(0);
  while (state.KeepRunning()) {
    for (int row = 0; row < table.RecordsCount(); ++row)
      for (int column = 0; column < kColumns; ++column)
        benchmark::DoNotOptimize(table.RecordField(row, column));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * kColumns);
}
BENCHMARK(ReadEveryValue)->Arg(50000);

// ---- rows ----

void Read(VekApi::VekTaskResult& result, const std::string& packet) {
  result.Parse(packet.data(), static_cast<unsigned>(packet.size()), vek_LittleEndian);
  benchmark::DoNotOptimize(result.Table(0)->RecordField(0, 1));
}

void BesideArena(const std::string& work, int records, int count, int slices) {
  const std::string text = Text(records), packet = Packet(text);
  if (!rows::Wanted(work)) return;
  VekApi::VekTaskResult result;
  TArenaReader reader;
  Read(result, packet);
  const std::size_t before = Allocations();
  for (int i = 0; i < count; ++i) Read(result, packet);
  rows::Counted(work + ": allocations", "ours", "each", static_cast<double>(Allocations() - before) / count);
  rows::ByTurns(work, "ns", slices,
                {rows::Repeated("ours", count, [&] { Read(result, packet); }),
                 rows::Repeated("arena", count, [&] { benchmark::DoNotOptimize(reader.Read(text)); })});
}

// A header not seen before, by the column.
rows::Way NewHeader(const char* who, int columns) {
  std::vector<std::string> packets;
  for (int i = 0; i < 8; ++i)
    packets.push_back(Packet(Text(1, kPlain, columns, "C" + std::to_string(i) + "_")));
  return {who, [packets, columns](rows::Series& series) {
            static VekApi::VekTaskResult result;
            const double start = rows::ThreadNs();
            for (const std::string& packet : packets) {
              Read(result, packet);
              benchmark::DoNotOptimize(result.Table(0)->Fields().Field(1));
            }
            const double took = rows::ThreadNs() - start;
            series.End(took / static_cast<double>(packets.size()) / columns, packets.size());
          }};
}

void Rows() {
  BesideArena("result of 1 x 20", 1, 200, 500);
  BesideArena("result of 10 x 20", 10, 50, 500);
  BesideArena("result of 10 MB", 50'000, 1, 40);
  rows::ByTurns("new header of 640 columns", "ns", 300,
                {NewHeader("ours", 640), NewHeader("40 columns", 40)});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "rows") return Rows(), 0;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
