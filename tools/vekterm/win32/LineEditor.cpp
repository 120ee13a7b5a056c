#include "vekterm/LineEditor.h"

#include <algorithm>

#include "TextWidth.h"
#include "vekterm/Completion.h"
#include "vekterm/Console.h"
#include "vekterm/win32/Wide.h"

namespace VekTerm {
namespace {

constexpr DWORD kTickMs = 250;
constexpr std::string_view kPrompt = "vek> ";

}  // namespace

// The console's line mode hides the line being typed, so that nothing could be printed meanwhile: keys are
// read one by one.
class LineEditor::Impl {
 public:
  explicit Impl(EditorEvents events) : events_(std::move(events)) {
    GetConsoleMode(input_, &inputMode_);
    GetConsoleMode(output_, &outputMode_);
    SetConsoleMode(output_, ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT);
  }
  ~Impl() {
    SetConsoleMode(input_, inputMode_);
    SetConsoleMode(output_, outputMode_);
    CloseHandle(output_);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  std::optional<std::string> Read() {
    SetConsoleMode(input_, ENABLE_PROCESSED_INPUT);
    line_.clear(), at_ = 0, place_ = history_.size(), row_ = drawn_ = 0;
    reading_ = true, end_ = EEnd::None;
    Draw();
    while (end_ == EEnd::None) Wait();
    at_ = line_.size();
    Draw();
    reading_ = false;
    Put(end_ == EEnd::Interrupt ? L"^C\r\n" : L"\r\n");
    SetConsoleMode(input_, inputMode_);
    if (end_ == EEnd::Interrupt) return "";
    if (end_ == EEnd::Input) return {};
    if (line_.find_first_not_of(L' ') != std::wstring::npos) history_.push_back(line_);
    return Narrow(line_);
  }

  void Print(const std::string& lines, bool isError) {
    if (reading_) Blank(drawn_, GoTo(-row_, 0));
    isError ? Console::WriteError(lines) : Console::Write(lines);
    row_ = 0, drawn_ = 0;
    if (reading_) Draw();
  }

 private:
  enum class EEnd { None, Line, Input, Interrupt };

  void Wait() {
    const HANDLE handles[] = {input_, reinterpret_cast<HANDLE>(events_.waitHandle)};
    if (WaitForMultipleObjects(2, handles, FALSE, kTickMs) != WAIT_OBJECT_0) events_.pump();
    if (Console::MustEnd()) end_ = EEnd::Input;
    if (Console::TakeInterrupt()) end_ = EEnd::Interrupt;
    DWORD count = 0;
    INPUT_RECORD record;
    while (end_ == EEnd::None && GetNumberOfConsoleInputEvents(input_, &count) && count != 0 &&
           ReadConsoleInputW(input_, &record, 1, &count)) {
      if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown) continue;
      Key(record.Event.KeyEvent);
      if (end_ == EEnd::None) Draw();
    }
  }

  void Key(const KEY_EVENT_RECORD& key) {
    constexpr wchar_t kCtrlD = 4, kCtrlZ = 26, kCtrlU = 21;
    const wchar_t c = key.uChar.UnicodeChar;
    if (c == L'\r' || c == L'\n') {
      end_ = EEnd::Line;
    } else if (c == L'\t') {
      Complete();
    } else if ((c == kCtrlD || c == kCtrlZ) && line_.empty()) {
      end_ = EEnd::Input;
    } else if (c == L'\b') {
      if (at_ != 0) line_.erase(--at_, 1);
    } else if (c == kCtrlU) {
      line_.clear(), at_ = 0;
    } else if (c >= L' ') {
      line_.insert(at_++, 1, c);
    } else {
      Move(key.wVirtualKeyCode);
    }
  }

  void Move(WORD key) {
    if (key == VK_LEFT && at_ != 0) --at_;
    if (key == VK_RIGHT && at_ < line_.size()) ++at_;
    if (key == VK_HOME) at_ = 0;
    if (key == VK_END) at_ = line_.size();
    if (key == VK_DELETE) line_.erase(at_, at_ < line_.size() ? 1 : 0);
    if (key == VK_UP && place_ != 0) Recall(place_ - 1);
    if (key == VK_DOWN && place_ < history_.size()) Recall(place_ + 1);
  }

  void Recall(std::size_t place) {
    place_ = place;
    line_ = place == history_.size() ? L"" : history_[place];
    at_ = line_.size();
  }

  void Complete() {
    const std::string before = Narrow(line_.substr(0, at_));
    const Completion completion = CompletionOf(before, events_.complete(before));
    const std::wstring more = Wide(completion.more);
    line_.insert(at_, more);
    at_ += more.size();
    if (!completion.list.empty()) Print(completion.list, false);
  }

  // Not every console understands escape sequences, so its functions move the cursor.
  void Put(const std::wstring& text) {
    DWORD written = 0;
    WriteConsoleW(output_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  }

  // To this row, counted from the cursor's, and column; returns where that is.
  COORD GoTo(int row, int column) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    GetConsoleScreenBufferInfo(output_, &info);
    const COORD to{static_cast<SHORT>(column),
                   static_cast<SHORT>(std::max(info.dwCursorPosition.Y + row, 0))};
    SetConsoleCursorPosition(output_, to);
    return to;
  }

  void Blank(int cells, COORD from) {
    DWORD written = 0;
    if (cells > 0) FillConsoleOutputCharacterW(output_, L' ', static_cast<DWORD>(cells), from, &written);
  }

  int Width() const {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    return GetConsoleScreenBufferInfo(output_, &info) && info.dwSize.X > 0 ? info.dwSize.X : 80;
  }

  // A long line takes several rows. What is before the cursor is written last, so that the cursor is where
  // the console's font puts it.
  void Draw() {
    const int width = Width();
    const int before = static_cast<int>(kPrompt.size() + TextWidth(Narrow(line_.substr(0, at_))));
    const int whole = static_cast<int>(kPrompt.size() + TextWidth(Narrow(line_)));
    GoTo(-row_, 0);
    Put(Wide(kPrompt) + line_);
    Blank(drawn_ - whole, GoTo(0, whole % width));
    GoTo(-(whole / width), 0);
    Put(Wide(kPrompt) + line_.substr(0, at_));
    row_ = before / width, drawn_ = whole;
  }

  const EditorEvents events_;
  const HANDLE input_ = GetStdHandle(STD_INPUT_HANDLE);
  // The console, even if the standard output is a file.
  const HANDLE output_ = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD inputMode_ = 0, outputMode_ = 0;
  std::wstring line_;
  std::size_t at_ = 0;  // of the cursor
  int row_ = 0;         // of the cursor, from the prompt's
  int drawn_ = 0;       // columns, with the prompt
  std::vector<std::wstring> history_;
  std::size_t place_ = 0;  // in the history
  bool reading_ = false;
  EEnd end_ = EEnd::None;
};

LineEditor::LineEditor(EditorEvents events) : impl_(std::make_unique<Impl>(std::move(events))) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::Read() {
  return impl_->Read();
}

void LineEditor::Print(const std::string& lines, bool isError) {
  impl_->Print(lines, isError);
}

}  // namespace VekTerm
