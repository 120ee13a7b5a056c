#include "vekterm/Recorder.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace VekTerm {

Recorder::Recorder(const std::string& file) : name_(file), file_(file, std::ios::binary) {
  if (!file_) throw std::runtime_error(file + " cannot be written: " + std::strerror(errno));
  bytes_.resize(CVekApi_RecordHeader(nullptr, 0));
  Write(CVekApi_RecordHeader(bytes_.data(), static_cast<std::uint32_t>(bytes_.size())));
}

void Recorder::Add(const CVekEvent& event) {
  bytes_.resize(CVekApi_RecordOf(&event, nullptr, 0));
  if (!bytes_.empty())
    Write(CVekApi_RecordOf(&event, bytes_.data(), static_cast<std::uint32_t>(bytes_.size())));
}

void Recorder::Write(std::uint32_t size) {
  file_.write(bytes_.data(), size).flush();
}

void Recorder::Close() {
  file_.close();
  if (!file_) throw std::runtime_error(name_ + " could not be written to its end");
}

}  // namespace VekTerm
