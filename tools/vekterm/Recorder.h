// Records a session, for vekdump.
#pragma once

#include <fstream>
#include <string>

#include "vekterm/EventSink.h"

namespace VekTerm {

// Every record is in the file at once: it can be looked at while the session goes on, and survives a kill.
class Recorder : public EventSink {
 public:
  // Throws std::runtime_error if the file cannot be written.
  explicit Recorder(const std::string& file);
  void Add(const CVekEvent& event) override;
  // Throws std::runtime_error unless all of it could be written.
  void Close();

 private:
  void Write(std::uint32_t size);

  const std::string name_;
  std::ofstream file_;
  std::string bytes_;
};

}  // namespace VekTerm
