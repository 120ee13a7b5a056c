#include <algorithm>

#include "TextGrid.h"
#include "TextWidth.h"
#include "vekdump/Text.h"
#include "vekterm/Console.h"
#include "vekterm/Output.h"

namespace VekTerm {

namespace {

// Distinguishes events from answers.
std::string Label(const std::string& kind) {
  for (const char* const event : {"state", "fate", "report", "late", "stray", "trace", "sent", "burst"})
    if (kind == event) return kind + std::string(9 - kind.size(), ' ');
  return {};
}

using Rows = std::vector<std::vector<std::string>>;

std::size_t WidthOf(const Rows& rows, std::size_t column) {
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, TextWidth(row[column]));
  return width;
}

// Keeps the first column, and of the others those that fit; says which are missing.
std::string CutColumns(Rows& rows, std::size_t room) {
  constexpr std::size_t kGap = 2;
  std::string missing;
  std::size_t used = 0, count = 0;
  Rows kept(rows.size());
  for (std::size_t i = 0; i < rows.front().size(); ++i) {
    const std::size_t width = WidthOf(rows, i) + (i == 0 ? 0 : kGap);
    if (i != 0 && used + width > room) {
      missing += (count++ == 0 ? "" : ", ") + rows.front()[i];
      continue;
    }
    used += width;
    for (std::size_t row = 0; row < rows.size(); ++row) kept[row].push_back(rows[row][i]);
  }
  rows = std::move(kept);
  if (count == 0) return {};
  return "... " + VekDump::Counted(count, "more column") + " (" + missing +
         "); all of them: wide on, or --wide\n";
}

}  // namespace

// Line by line, so that bytes from the server cannot control the terminal.
void TextOutput::Tell(const Note& note) {
  std::string lines = Label(note.kind);
  for (std::size_t at = 0; at <= note.text.size();) {
    const std::size_t end = std::min(note.text.find('\n', at), note.text.size());
    lines += VekDump::OneLine(note.text.substr(at, end - at)) + '\n';
    at = end + 1;
  }
  if (note.kind == "error") {
    screen_.PrintError(lines);
  } else {
    screen_.Print(lines);
  }
}

void TextOutput::Show(const Grid& grid) {
  constexpr std::size_t kLongestCell = 120;
  const std::size_t count = rows_ == 0 ? grid.rows.size() : std::min(rows_, grid.rows.size());
  Rows rows{grid.headings};
  rows.insert(rows.end(), grid.rows.begin(), grid.rows.begin() + static_cast<std::ptrdiff_t>(count));
  for (auto& row : rows)
    for (std::string& cell : row) cell = VekDump::Shortened(VekDump::OneLine(cell), kLongestCell);
  std::string text =
      VekDump::OneLine(grid.title == grid.name ? grid.name : grid.title + " (" + grid.name + ")");
  const std::size_t room = wide_ ? 0 : Console::OutputColumns();
  const std::string cut = room == 0 ? "" : CutColumns(rows, room - 1);
  text += ", " + VekDump::Counted(grid.rows.size(), "record") + '\n' + FormatGrid(rows) + cut;
  if (count < grid.rows.size())
    text += "... " + VekDump::Counted(grid.rows.size() - count, "more record") + "; --rows 0 shows all\n";
  screen_.Print(text);
}

}  // namespace VekTerm
