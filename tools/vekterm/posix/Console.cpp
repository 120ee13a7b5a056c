#include "vekterm/Console.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace VekTerm::Console {
namespace {

constexpr char kCtrlZ = 26;
constexpr int kTickMs = 250;

std::atomic<bool> interrupted{false};
std::atomic<bool> mustEnd{false};
std::atomic<bool> outputLost{false};
std::atomic<bool> inputLost{false};

void OnSignal(int number) {
  (number == SIGINT ? interrupted : mustEnd) = true;
}

// The reader of the output has gone, or there is no space: continuing unseen makes no sense.
bool WriteTo(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      mustEnd = true;
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Turns echo off for its lifetime. Ctrl-Z becomes a character, because a shell would turn echo on again.
class Quiet {
 public:
  explicit Quiet(int terminal) : terminal_(terminal) {
    tcgetattr(terminal_, &before_);
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    quiet.c_cc[VSUSP] = _POSIX_VDISABLE;
    tcsetattr(terminal_, TCSAFLUSH, &quiet);
  }
  ~Quiet() { tcsetattr(terminal_, TCSAFLUSH, &before_); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  const int terminal_;
  termios before_{};
};

std::optional<std::string> ReadLine(int terminal) {
  std::string line;
  for (char c = 0;;) {
    pollfd entry{terminal, POLLIN, 0};
    const int ready = poll(&entry, 1, kTickMs);
    if (interrupted || mustEnd) return {};
    if (ready <= 0) continue;
    const ssize_t count = read(terminal, &c, 1);
    if (count <= 0 || c == 4) return {};
    if (c == '\n') return line;
    if (c != kCtrlZ) line += c;
  }
}

}  // namespace

std::string ArgumentText(const std::string& argument) {
  return argument;
}

bool InputIsTerminal() {
  return isatty(STDIN_FILENO) != 0;
}

bool OutputIsTerminal() {
  return isatty(STDOUT_FILENO) != 0;
}

std::size_t OutputColumns() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void Write(std::string_view text) {
  if (!WriteTo(STDOUT_FILENO, text)) outputLost = true;
}

void WriteError(std::string_view text) {
  WriteTo(STDERR_FILENO, text);
}

bool OutputLost() {
  return outputLost;
}

std::size_t ReadInput(char* bytes, std::size_t room) {
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, bytes, room);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EINTR) continue;
    inputLost = true;
    return 0;
  }
}

bool InputLost() {
  return inputLost;
}

std::optional<std::string> AskSecret(std::string_view prompt) {
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (terminal < 0) return {};
  std::optional<std::string> line;
  {
    const Quiet quiet(terminal);
    WriteTo(terminal, prompt);
    line = ReadLine(terminal);
  }
  WriteTo(terminal, "\n");
  close(terminal);
  return line;
}

// A broken pipe is reported by the failing write.
void WatchSignals() {
  struct sigaction action {};
  action.sa_handler = OnSignal;  // without SA_RESTART, so that a wait for input ends
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

bool TakeInterrupt() {
  return interrupted.exchange(false);
}

bool MustEnd() {
  return mustEnd;
}

}  // namespace VekTerm::Console
