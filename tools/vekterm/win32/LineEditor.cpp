#include "vekterm/LineEditor.h"

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
    SetConsoleMode(output_, outputMode_ | ENABLE_PROCESSED_OUTPUT | kVirtualTerminal);
  }
  ~Impl() {
    SetConsoleMode(input_, inputMode_);
    SetConsoleMode(output_, outputMode_);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  std::optional<std::string> Read() {
    SetConsoleMode(input_, ENABLE_PROCESSED_INPUT);
    line_.clear(), at_ = 0, place_ = history_.size(), row_ = 0;
    reading_ = true, end_ = EEnd::None;
    Draw();
    while (end_ == EEnd::None) Wait();
    at_ = line_.size();
    Draw();
    reading_ = false;
    Console::Write(end_ == EEnd::Interrupt ? "^C\r\n" : "\r\n");
    SetConsoleMode(input_, inputMode_);
    if (end_ == EEnd::Interrupt) return "";
    if (end_ == EEnd::Input) return {};
    if (line_.find_first_not_of(L' ') != std::wstring::npos) history_.push_back(line_);
    return Narrow(line_);
  }

  void Print(const std::string& lines, bool isError) {
    if (reading_) Console::Write(ToStart());
    isError ? Console::WriteError(lines) : Console::Write(lines);
    row_ = 0;
    if (reading_) Draw();
  }

 private:
  enum class EEnd { None, Line, Input, Interrupt };
  static constexpr DWORD kVirtualTerminal = 4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING

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

  std::string ToStart() const { return (row_ == 0 ? "" : "\x1b[" + std::to_string(row_) + 'A') + "\r\x1b[J"; }

  // A long line takes several rows.
  void Draw() {
    const std::size_t known = Console::OutputColumns(), width = known != 0 ? known : 80;
    const std::size_t before = kPrompt.size() + TextWidth(Narrow(line_.substr(0, at_)));
    const std::size_t whole = kPrompt.size() + TextWidth(Narrow(line_));
    std::string text = ToStart() + std::string(kPrompt) + Narrow(line_);
    if (whole % width == 0) text += "\r\n";
    if (whole / width > before / width)
      text += "\x1b[" + std::to_string(whole / width - before / width) + 'A';
    text += '\r';
    if (before % width != 0) text += "\x1b[" + std::to_string(before % width) + 'C';
    row_ = before / width;
    Console::Write(text);
  }

  const EditorEvents events_;
  const HANDLE input_ = GetStdHandle(STD_INPUT_HANDLE), output_ = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD inputMode_ = 0, outputMode_ = 0;
  std::wstring line_;
  std::size_t at_ = 0;   // of the cursor
  std::size_t row_ = 0;  // of the cursor, on the screen
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
