#include "vekdump/Input.h"

#include <fmt/core.h>

namespace VekDump {

bool Input::ReadOrEnd(char* to, std::size_t count, const char* what) {
  stream_.read(to, static_cast<std::streamsize>(count));
  const auto got = static_cast<std::size_t>(stream_.gcount());
  if (stream_.bad()) Fail(offset_, "cannot be read");
  if (got == 0 && count != 0) return false;
  if (got < count) Fail(offset_, fmt::format("{} is cut: {} of {} bytes are there", what, got, count));
  offset_ += count;
  return true;
}

void Input::Read(char* to, std::size_t count, const char* what) {
  if (!ReadOrEnd(to, count, what))
    Fail(offset_, fmt::format("{} is cut: 0 of {} bytes are there", what, count));
}

std::string Input::Take(std::size_t count, const char* what) {
  std::string bytes(count, '\0');
  if (count != 0) Read(bytes.data(), count, what);
  return bytes;
}

void Input::Fail(std::uint64_t offset, const std::string& text) const {
  throw BadInput(fmt::format("{}: at byte {}: {}", name_, offset, text));
}

}  // namespace VekDump
