#include <algorithm>

#include "TextGrid.h"
#include "vekdump/Text.h"
#include "vekterm/Output.h"

namespace VekTerm {

namespace {

// Distinguishes events from answers.
std::string Label(const std::string& kind) {
  for (const char* const event : {"state", "fate", "report", "late", "stray", "trace", "sent", "burst"})
    if (kind == event) return kind + std::string(9 - kind.size(), ' ');
  return {};
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
  std::vector<std::vector<std::string>> rows{grid.headings};
  rows.insert(rows.end(), grid.rows.begin(), grid.rows.begin() + static_cast<std::ptrdiff_t>(count));
  for (auto& row : rows)
    for (std::string& cell : row) cell = VekDump::Shortened(VekDump::OneLine(cell), kLongestCell);
  std::string text =
      VekDump::OneLine(grid.title == grid.name ? grid.name : grid.title + " (" + grid.name + ")");
  text += ", " + VekDump::Counted(grid.rows.size(), "record") + '\n' + FormatGrid(rows);
  if (count < grid.rows.size())
    text += "... " + VekDump::Counted(grid.rows.size() - count, "more record") + "; --rows 0 shows all\n";
  screen_.Print(text);
}

}  // namespace VekTerm
