#include "vekterm/LineEditor.h"

#include <histedit.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <cstdio>

#include "TextWidth.h"
#include "vekterm/Completion.h"
#include "vekterm/Console.h"

namespace VekTerm {
namespace {

constexpr int kTickMs = 250;
char prompt[] = "vek> ";
std::atomic<bool> terminalChanged{false};

}  // namespace

class LineEditor::Impl {
 public:
  explicit Impl(EditorEvents events) : events_(std::move(events)) {
    std::setlocale(LC_CTYPE, "");
    edit_ = el_init("vekterm", stdin, stdout, stderr);
    history_ = history_init();
    HistEvent event;
    history(history_, &event, H_SETSIZE, 1000);
    history(history_, &event, H_SETUNIQUE, 1);
    el_set(edit_, EL_CLIENTDATA, this);
    el_set(
        edit_, EL_PROMPT, +[](EditLine*) { return prompt; });
    el_set(edit_, EL_EDITOR, "emacs");
    el_set(edit_, EL_SIGNAL, 0);
    el_set(edit_, EL_HIST, history, history_);
    el_set(edit_, EL_GETCFN, &TakeCharacter);
    // The narrow variant keeps copies of both texts for good.
    el_wset(edit_, EL_ADDFN, L"vek-complete", L"completes a word", &OnTab);
    el_set(edit_, EL_BIND, "\t", "vek-complete", nullptr);
    el_set(edit_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    struct sigaction action {};
    action.sa_handler = [](int) { terminalChanged = true; };
    for (const int number : {SIGCONT, SIGWINCH}) sigaction(number, &action, nullptr);
  }
  ~Impl() {
    history_end(history_);
    el_end(edit_);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  std::optional<std::string> Read() {
    int count = 0;
    interrupted_ = false;
    reading_ = true;
    const char* const line = el_gets(edit_, &count);
    reading_ = false;
    if (interrupted_) return "";
    if (line == nullptr || count <= 0) return {};
    std::string text(line, static_cast<std::size_t>(count));
    if (text.ends_with('\n')) text.pop_back();
    HistEvent event;
    if (text.find_first_not_of(' ') != std::string::npos) history(history_, &event, H_ENTER, text.c_str());
    return text;
  }

  void Print(const std::string& lines, bool isError) {
    if (reading_) Console::Write(ToStartOfLine());
    isError ? Console::WriteError(lines) : Console::Write(lines);
    if (reading_) el_set(edit_, EL_REFRESH);
  }

 private:
  static Impl& Of(EditLine* edit) {
    void* self = nullptr;
    el_get(edit, EL_CLIENTDATA, &self);
    return *static_cast<Impl*>(self);
  }

  static int TakeCharacter(EditLine* edit, wchar_t* character) { return Of(edit).Take(*character); }

  // 1, 0 at the end of input, -1 after Ctrl-C.
  int Take(wchar_t& character) {
    std::string bytes;
    for (;;) {
      if (Console::MustEnd()) return 0;
      if (Console::TakeInterrupt()) return Interrupted();
      if (terminalChanged.exchange(false)) OnTerminalChanged();
      pollfd entries[] = {{STDIN_FILENO, POLLIN, 0}, {static_cast<int>(events_.waitHandle), POLLIN, 0}};
      const int ready = poll(entries, 2, kTickMs);
      if (ready < 0) continue;  // a signal
      if (entries[0].revents == 0) {
        events_.pump();
        continue;
      }
      char byte = 0;
      if (read(STDIN_FILENO, &byte, 1) <= 0) return 0;
      bytes += byte;
      std::mbstate_t state{};
      const std::size_t used = std::mbrtowc(&character, bytes.data(), bytes.size(), &state);
      if (used <= bytes.size()) return 1;
      if (used == static_cast<std::size_t>(-1)) bytes.clear();  // not a character: ignored
    }
  }

  // A long line takes several rows; all are cleared.
  std::string ToStartOfLine() {
    const std::size_t width = Console::OutputColumns();
    const LineInfo* const line = el_line(edit_);
    const std::string before(line->buffer, line->cursor);
    const std::size_t rows = (TextWidth(prompt) + TextWidth(before)) / (width != 0 ? width : 80);
    return (rows == 0 ? "" : "\x1b[" + std::to_string(rows) + 'A') + "\r\x1b[J";
  }

  // Another size, or the program was stopped and the shell has set the terminal's mode.
  void OnTerminalChanged() {
    el_resize(edit_);
    for (const int edited : {0, 1}) el_set(edit_, EL_PREP_TERM, edited);
    el_set(edit_, EL_REFRESH);
  }

  int Interrupted() {
    interrupted_ = true;
    Console::Write("^C\n");
    return -1;
  }

  static unsigned char OnTab(EditLine* edit, int) { return Of(edit).Complete(); }

  unsigned char Complete() {
    const LineInfo* const line = el_line(edit_);
    const std::string before(line->buffer, line->cursor);
    const Completion completion = CompletionOf(before, events_.complete(before));
    if (!completion.more.empty() && el_insertstr(edit_, completion.more.c_str()) == 0) return CC_REFRESH;
    if (completion.list.empty()) return CC_ERROR;
    Print(completion.list, false);
    return CC_NORM;
  }

  const EditorEvents events_;
  EditLine* edit_ = nullptr;
  History* history_ = nullptr;
  bool reading_ = false;
  bool interrupted_ = false;
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
