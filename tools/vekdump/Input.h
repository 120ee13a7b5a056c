// A file read from front to back, and its errors.
#pragma once

#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>

namespace VekDump {

// "FILE: at byte N: what is wrong"
class BadInput : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Input {
 public:
  // The stream outlives this object.
  Input(std::istream& stream, std::string name) : stream_(stream), name_(std::move(name)) {}

  // False at the end of the file; throws BadInput if it ends within the bytes. `what` names what is cut then.
  bool ReadOrEnd(char* to, std::size_t count, const char* what);

  // Throws BadInput unless all bytes are there.
  void Read(char* to, std::size_t count, const char* what);
  // The caller has checked `count` against a limit.
  std::string Take(std::size_t count, const char* what);

  std::uint64_t Offset() const { return offset_; }
  [[noreturn]] void Fail(std::uint64_t offset, const std::string& text) const;

 private:
  std::istream& stream_;
  std::string name_;
  std::uint64_t offset_ = 0;
};

}  // namespace VekDump
